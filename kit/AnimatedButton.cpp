#include "AnimatedButton.h"
#include "Palette.h"
#include "Resources.h"

namespace bws
{
    ButtonAnimation::ButtonAnimation() = default;

    ButtonAnimation::~ButtonAnimation()
    {
        stopTimer();
    }

    void ButtonAnimation::addFrame (std::unique_ptr<juce::Drawable> frame)
    {
        frames.push_back (std::move (frame));
    }

    void ButtonAnimation::addFrameFromSVG (const juce::String& svgText)
    {
        addFrame (Resources::parseSVG (svgText));
    }

    void ButtonAnimation::clearFrames()
    {
        stopTimer();
        frames.clear();
        current = target = 0;
    }

    const juce::Drawable* ButtonAnimation::getCurrentDrawable() const noexcept
    {
        if (current < 0 || current >= (int) frames.size())
            return nullptr;

        return frames[(size_t) current].get();
    }

    void ButtonAnimation::setFrame (int frameIndex)
    {
        stopTimer();
        auto clamped = frames.empty() ? 0 : juce::jlimit (0, (int) frames.size() - 1, frameIndex);
        target = clamped;

        if (clamped != current)
        {
            current = clamped;

            if (onFrameChanged)
                onFrameChanged();
        }
    }

    void ButtonAnimation::animateTo (int frameIndex)
    {
        target = frames.empty() ? 0 : juce::jlimit (0, (int) frames.size() - 1, frameIndex);

        if (target == current)
            stopTimer();
        else if (! isTimerRunning() && juce::MessageManager::getInstanceWithoutCreating() != nullptr)
            startTimer (intervalMs);
    }

    bool ButtonAnimation::step()
    {
        if (current == target)
            return false;

        current += current < target ? 1 : -1;

        if (onFrameChanged)
            onFrameChanged();

        return true;
    }

    void ButtonAnimation::timerCallback()
    {
        if (! step() || current == target)
            stopTimer();
    }

    //==============================================================================
    MainButtonAnimation::MainButtonAnimation (int size)
    {
        for (int i = 0; i < numFrames; ++i)
            addFrameFromSVG (frameSVG (i, size));
    }

    juce::String MainButtonAnimation::frameSVG (int frameIndex, int size)
    {
        auto t = (float) juce::jlimit (0, numFrames - 1, frameIndex) / (float) (numFrames - 1);
        auto s = (float) size;
        auto c = s * 0.5f;
        auto r = c - 2.0f;

        // The lit arc grows clockwise from the top; the ring under it stays faint.
        auto angle = juce::jmax (0.001f, t) * juce::MathConstants<float>::twoPi * 0.999f;
        auto ex = c + r * std::sin (angle);
        auto ey = c - r * std::cos (angle);
        auto largeArc = angle > juce::MathConstants<float>::pi ? 1 : 0;

        auto num = [] (float v) { return juce::String (v, 2); };
        auto lit = juce::Colour (Palette::accent).interpolatedWith (juce::Colour (Palette::text), t * 0.5f);
        auto hex = "#" + lit.toDisplayString (false).toLowerCase();

        juce::String svg;
        svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << size << "\" height=\"" << size
            << "\" viewBox=\"0 0 " << size << " " << size << "\">"
            << "<circle cx=\"" << num (c) << "\" cy=\"" << num (c) << "\" r=\"" << num (r)
            << "\" fill=\"none\" stroke=\"#e6e7fa\" stroke-width=\"1\" opacity=\"0.25\"/>"
            << "<path d=\"M " << num (c) << " " << num (c - r) << " A " << num (r) << " " << num (r)
            << " 0 " << largeArc << " 1 " << num (ex) << " " << num (ey)
            << "\" fill=\"none\" stroke=\"" << hex << "\" stroke-width=\"2\" stroke-linecap=\"round\"/>"
            << "<circle cx=\"" << num (c) << "\" cy=\"" << num (c) << "\" r=\"" << num (2.0f + 2.0f * t)
            << "\" fill=\"" << hex << "\"/>"
            << "</svg>";
        return svg;
    }

    //==============================================================================
    AnimatedButton::AnimatedButton (const juce::String& buttonName, std::unique_ptr<ButtonAnimation> newAnimation)
        : juce::Button (buttonName),
          animation (newAnimation != nullptr ? std::move (newAnimation) : std::make_unique<ButtonAnimation>())
    {
        animation->onFrameChanged = [this] { repaint(); };
    }

    AnimatedButton::~AnimatedButton()
    {
        animation->onFrameChanged = nullptr;
    }

    void AnimatedButton::paintButton (juce::Graphics& g, bool, bool)
    {
        if (auto* frame = animation->getCurrentDrawable())
            frame->drawWithin (g, getLocalBounds().toFloat(), juce::RectanglePlacement::centred,
                               isEnabled() ? 1.0f : 0.4f);
    }

    void AnimatedButton::followState()
    {
        if (isOver() || isDown() || getToggleState())
            animation->playForward();
        else
            animation->playBackward();
    }

    void AnimatedButton::buttonStateChanged()
    {
        followState();
    }

    void AnimatedButton::clicked()
    {
        followState();
    }
}
