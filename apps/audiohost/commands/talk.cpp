#include "commands/talk.h"

#include <cmath>
#include <filesystem>
#include <fstream>

#include "files/outputfile.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

void TellDescription(TalkTarget const& target, std::string const& description, std::ostream& out) {
    if (target.sdpPath.empty()) {
        out << "A receiver needs this description:\n" << description << std::flush;
        return;
    }
    std::ofstream file(std::filesystem::u8path(target.sdpPath), std::ios::binary);
    file << description << std::flush;
    if (!file) {
        throw HostError(ExitCode_t::Usage, "'" + target.sdpPath + "' cannot be written.");
    }
}

std::int64_t LimitSamples(TalkOptions const& options) {
    return options.seconds > 0.0 ? std::llround(options.seconds * Listening::SoundRateHz) : EndlessSamples;
}

} // namespace

std::unique_ptr<RtpSender> OpenTalk(TalkTarget const& target, Pacer& stop, std::ostream& out) {
    // It asks for the host's name.
    auto sender = AskUntilStopped<std::unique_ptr<RtpSender>>(
        [target] { return std::make_unique<RtpSender>(target.address, target.codec); }, stop);
    if (!sender) {
        throw HostError(ExitCode_t::Interrupted, "interrupted before anything was sent.");
    }
    TellDescription(target, (*sender)->GetDescription(), out);
    return std::move(*sender);
}

void TellTalk(TalkTarget const& target, RtpSender const& sender, Take const& take, std::ostream& out) {
    out << "Talked to " << target.address << " in " << sender.GetCoding() << ": "
        << FormatFixed(Listening::SamplesToSec(static_cast<double>(take.log.samples)), 2) << " s in "
        << FormatCount(sender.CountPackets(), "packet") << ".";
    if (sender.CountFailed() > 0) {
        out << " The network did not take " << FormatCount(sender.CountFailed(), "packet") << ".";
    }
    if (take.log.GetFramesLost() > 0) {
        out << " The microphone lost " << FormatCount(take.log.GetFramesLost(), "frame") << " of 20 ms.";
    }
    out << std::endl;
    if (take.error) {
        throw HostError(*take.error);
    }
    if (sender.CountPackets() > 0 && sender.CountFailed() == sender.CountPackets()) {
        throw HostError(ExitCode_t::NoStream, "the network took none of the " +
                                                  FormatCount(sender.CountPackets(), "packet") + " for '" +
                                                  target.address + "'.");
    }
}

ExitCode_t Talk(TalkOptions const& options, Surroundings const& surroundings, CaptureAccess& capture) {
    std::unique_ptr<RtpSender> const sender = OpenTalk(options.target, surroundings.stop, surroundings.out);
    LogTo(options.logPath);
    Take const take = TakeSound(surroundings, capture, false, LimitSamples(options),
                                [&sender](Listening::SampleView sound) { sender->Send(sound); });
    sender->End();
    TellTalk(options.target, *sender, take, surroundings.out);
    return take.log.isInterrupted ? ExitCode_t::Interrupted : ExitCode_t::Ok;
}

} // namespace AudioHost
