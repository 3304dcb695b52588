#pragma once

#include "directsound/directsound.h"

namespace Media {

/// Results of the module's operations: 0 for success, negative for failures.
namespace Status {
constexpr int Success = 0;
/// DirectSound refused an operation.
constexpr int Refused = -1;
/// The captured samples could not be locked, or gave no block.
constexpr int NothingRead = -10;
/// No sound driver on this machine.
constexpr int NoDriver = -25;
/// Devices could not be enumerated, or aggregation was asked for.
constexpr int EnumerationFailed = -26;
/// No DirectSound object, no known device or no frame to create with.
constexpr int NothingToCreateWith = -27;
/// There is no DirectSound buffer to read from.
constexpr int NoBuffer = -27;
/// Less than one block of samples has been captured.
constexpr int TooFewSamples = -30;
constexpr int InvalidArgument = -41;
/// The buffer was created before.
constexpr int AlreadyCreated = -43;
/// The sound driver has gone.
constexpr int DriverLost = -120;
/// Another program has the device to itself.
constexpr int Allocated = -200;
constexpr int OutOfMemory = -202;
} // namespace Status

/// The status of a failed creation of a DirectSound device object, playback or capture.
///
/// A failure without a status of its own counts as success, although nothing was opened: the host goes on
/// without the device, and the next opening tries again. Wanted (docs/kept-behaviour.md).
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

/// The status of a failed reading of the capture position.
/// Wanted: DSERR_NODRIVER is -120 here and -25 there (docs/kept-behaviour.md).
constexpr int StatusOfPositionFailure(HRESULT result) {
    switch (result) {
        case E_OUTOFMEMORY:
            return Status::OutOfMemory;
        case E_INVALIDARG:
            return Status::InvalidArgument;
        case DSERR_NODRIVER:
            return Status::DriverLost;
        default:
            return Status::Refused;
    }
}

} // namespace Media
