#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "record/take.h"
#include "talk/rtpsender.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// Opens the way to the target, and tells the description that a receiver needs: in the target's file, or
/// else on `out`. Throws `HostError`: `Usage` when the address is none or the file cannot be written,
/// `NoStream` when there is no such host, `Interrupted` when the person asked to stop before it was found.
std::unique_ptr<RtpSender> OpenTalk(TalkTarget const& target, Pacer& stop, std::ostream& out);

/// What was sent, a line. Throws what broke it off, and `HostError` (`NoStream`) when the network took none
/// of it, having told the line on `out`.
void TellTalk(TalkTarget const& target, RtpSender const& sender, Take const& take, std::ostream& out);

/// Sends the microphone and shows its level. Returns `Ok` or `Interrupted`, when all that was said is sent;
/// throws `HostError` for everything else. `capture` belongs to `surroundings.renderer`.
ExitCode_t Talk(TalkOptions const& options, Surroundings const& surroundings, CaptureAccess& capture);

} // namespace AudioHost
