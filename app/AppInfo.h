#pragma once

// The program's name and version as the application object reports them.
namespace appinfo
{
inline constexpr const char* name = "ORVANE";
inline constexpr const char* version = "2.0.6";
} // namespace appinfo
