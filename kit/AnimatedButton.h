#pragma once

#include <juce_gui_basics/juce_gui_basics.h>
#include <functional>
#include <memory>
#include <vector>

namespace bws
{
    // A row of frames and a frame pointer that walks towards a target frame, one step per
    // timer tick. Frames are parsed once when they are added.
    class ButtonAnimation : private juce::Timer
    {
    public:
        ButtonAnimation();
        ~ButtonAnimation() override;

        void addFrame (std::unique_ptr<juce::Drawable> frame);
        void addFrameFromSVG (const juce::String& svgText); // an unparseable text adds an empty frame
        void clearFrames();

        int getNumFrames() const noexcept { return (int) frames.size(); }
        int getCurrentFrame() const noexcept { return current; }
        int getTargetFrame() const noexcept { return target; }
        const juce::Drawable* getCurrentDrawable() const noexcept;

        // Jumps to a frame at once and stops.
        void setFrame (int frameIndex);

        // Walks towards a frame, one frame per interval.
        void animateTo (int frameIndex);
        void playForward() { animateTo (getNumFrames() - 1); }
        void playBackward() { animateTo (0); }

        // One step towards the target; false when already there.
        bool step();

        bool isAnimating() const noexcept { return isTimerRunning(); }

        void setFrameInterval (int milliseconds) noexcept { intervalMs = juce::jmax (1, milliseconds); }
        int getFrameInterval() const noexcept { return intervalMs; }

        std::function<void()> onFrameChanged;

    private:
        void timerCallback() override;

        std::vector<std::unique_ptr<juce::Drawable>> frames;
        int current = 0, target = 0, intervalMs = 30;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ButtonAnimation)
    };

    // The animation of the EQ panel's main button: a ring that closes and brightens in
    // twelve frames as the pointer comes over it.
    class MainButtonAnimation : public ButtonAnimation
    {
    public:
        explicit MainButtonAnimation (int size = 28);

        static constexpr int numFrames = 12;

        // The SVG text of one frame, 0 (at rest) to numFrames - 1 (fully lit).
        static juce::String frameSVG (int frameIndex, int size);
    };

    // A button that shows its animation's current frame: the animation runs forward while
    // the pointer is over the button or it is toggled on, and back when it leaves.
    class AnimatedButton : public juce::Button
    {
    public:
        AnimatedButton (const juce::String& buttonName, std::unique_ptr<ButtonAnimation> animation);
        ~AnimatedButton() override;

        ButtonAnimation& getAnimation() noexcept { return *animation; }

        void paintButton (juce::Graphics&, bool highlighted, bool down) override;
        void buttonStateChanged() override;
        using juce::Button::clicked;
        void clicked() override;

    private:
        void followState();

        std::unique_ptr<ButtonAnimation> animation;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (AnimatedButton)
    };
}
