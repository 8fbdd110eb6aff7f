#pragma once

// What the licence layer allows. This build has no licence layer: use is always allowed and
// no run is a trial, so the authorisation window and the buy link never stand on screen.
namespace licence
{
struct Status
{
    bool useAllowed = true;
    bool trial = false;
};

inline Status currentStatus()
{
    return {};
}
} // namespace licence
