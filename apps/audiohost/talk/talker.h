#pragma once

#include <future>
#include <memory>

#include "record/take.h"
#include "talk/rtpsender.h"

namespace AudioHost {

/// Sends the microphone while something else goes on, from its construction on.
///
/// **Threads:** one at a time; the microphone is read on one of its own.
/// **Ownership:** the sender is borrowed.
class Talker {
public:
    /// The renderer that `capture` belongs to is open, and stays so. Throws `HostError` (`NoInput`) when
    /// there is no microphone.
    Talker(RtpSender& sender, CaptureAccess& capture);
    ~Talker();
    Talker(Talker const&) = delete;
    Talker& operator=(Talker const&) = delete;

    /// Ends it. Once.
    Take End();

private:
    RtpSender& sender_;
    std::shared_ptr<Microphone> const microphone_;
    CaptureLogKeeper keeper_{false};
    StopSignal stop_;
    CaptureLoop loop_;
    std::future<bool> reading_;
};

} // namespace AudioHost
