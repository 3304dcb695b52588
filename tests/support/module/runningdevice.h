#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "directsound/statuscodes.h"
#include "simulation/world.h"
#include "support/module/peers.h"
#include "support/module/unittest.h"

namespace UnitTest {

/// Opens `device` and returns when its playback thread is blocked in its first wait. The thread may find the
/// device without its pointer and end at once, since the opener stores it last: then the device is opened
/// anew. For tests that need the thread; no other thread may be blocked. False when `Open` fails.
inline bool OpenWithRunningThread(RendererAudioPlaybackDevice& device, Simulation::World& world) {
    while (true) {
        if (device.Open() != Status::Success) {
            return false;
        }
        auto* const thread = RendererAudioPlaybackDevicePeer::GetFields(device).thread.load();
        if (thread == nullptr) {
            return false;
        }
        while (world.BlockedThreads() == 0) {
            if (thread->timed_join(boost::posix_time::milliseconds(1))) {
                break;
            }
        }
        if (world.BlockedThreads() != 0) {
            return true;
        }
        device.Close();
    }
}

} // namespace UnitTest
