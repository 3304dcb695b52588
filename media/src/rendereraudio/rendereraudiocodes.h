#pragma once

#include "rendereraudiodirectsound.h"

namespace Media {

/// Results of the module's operations: 0 for success, negative for failures.
namespace Status {
constexpr int Success = 0;
/// DirectSound refused an operation.
constexpr int Refused = -1;
/// No sound driver on this machine.
constexpr int NoDriver = -25;
/// Devices could not be enumerated, or aggregation was asked for.
constexpr int EnumerationFailed = -26;
/// No DirectSound object, no known device or no frame to create with.
constexpr int NothingToCreateWith = -27;
constexpr int InvalidArgument = -41;
/// Another program has the device to itself.
constexpr int Allocated = -200;
constexpr int OutOfMemory = -202;
} // namespace Status

/// The status of a failed creation of a DirectSound device object, playback or capture.
///
/// A failure without a status of its own counts as success, although nothing was opened: the host goes on
/// without the device, and the next opening tries again (PlaybackDevice_OpenCreateFailure pins it).
constexpr int StatusOfCreateFailure(HRESULT result) {
    switch (result) {
        case CLASS_E_NOAGGREGATION:
            return Status::EnumerationFailed;
        case E_OUTOFMEMORY:
            return Status::OutOfMemory;
        case E_INVALIDARG:
            return Status::InvalidArgument;
        case DSERR_ALLOCATED:
            return Status::Allocated;
        case DSERR_NODRIVER:
            return Status::NoDriver;
        default:
            return Status::Success;
    }
}

} // namespace Media
