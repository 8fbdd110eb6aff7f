#pragma once

#include <juce_graphics/juce_graphics.h>

// The program's colours. Everything on screen is drawn from this short list; a literal
// ARGB value elsewhere is either one of these or a deliberate one-off.
namespace bws::Palette
{
    inline constexpr juce::uint32 text                   = 0xffe6e7fa; // text, lines, time and value labels
    inline constexpr juce::uint32 waveformBackground     = 0xff121212; // also the tooltip background
    inline constexpr juce::uint32 tooltipBackground      = 0xff121212;
    inline constexpr juce::uint32 panelFill              = 0xff111111; // panels, stereo bars
    inline constexpr juce::uint32 windowGradientTop      = 0xff12171f;
    inline constexpr juce::uint32 windowGradientBottom   = 0xff444951;
    inline constexpr juce::uint32 menuBackground         = 0xff1a1c28; // pop-up menus, lists
    inline constexpr juce::uint32 listBackground         = 0xff1a1c28;
    inline constexpr juce::uint32 stripBackground        = 0xff2d2e39; // strips, outline of panels
    inline constexpr juce::uint32 panelOutline           = 0xff2d2e39;
    inline constexpr juce::uint32 readoutHoverOuter      = 0xff363744;
    inline constexpr juce::uint32 readoutInnerAtRest     = 0xff43476c;
    inline constexpr juce::uint32 accent                 = 0xff4c58c8; // selected, within target, pop-ups
    inline constexpr juce::uint32 readoutInnerOverTarget = 0xff8f3832;
    inline constexpr juce::uint32 problem                = 0xfffa4d42; // over target and selected; problem text
    inline constexpr juce::uint32 windowInnerFrame       = 0xff2e2e2e;
    inline constexpr juce::uint32 menuTextOff            = 0xff6b7592;
    inline constexpr juce::uint32 menuTextOn             = 0xffeaeaea;
    inline constexpr juce::uint32 menuSeparator          = 0xff242738;
    inline constexpr juce::uint32 playSliderThumb        = 0xff21d22c; // the slider whose id is "play"
    inline constexpr juce::uint32 playSliderTrack        = 0xffa3a3a3;
    inline constexpr juce::uint32 windowFrame            = 0x1ad2fbfe; // rounded frame of the main window
    inline constexpr juce::uint32 popupOutline           = 0x334c58c8;

    inline juce::Colour colour (juce::uint32 argb) noexcept { return juce::Colour (argb); }
}
