#include "talk/talker.h"

#include "kovra/thread.h"

namespace AudioHost {

Talker::Talker(RtpSender& sender, CaptureAccess& capture)
    : sender_(sender),
      microphone_(OpenMicrophone(capture)),
      loop_(*microphone_, keeper_, stop_, [this](Listening::SampleView sound) { sender_.Send(sound); }) {
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    keeper_.SetStart(start);
    reading_ = std::async(std::launch::async, [this, start] {
        Kovra::SetThreadName("AudioHost.Talker");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        return loop_.Run(start, EndlessSamples);
    });
}

Talker::~Talker() {
    stop_.Request();
}

Take Talker::End() {
    stop_.Request();
    Take take;
    try {
        reading_.get();
    } catch (HostError const& error) {
        take.error = error;
    }
    sender_.End();
    take.log = keeper_.Take();
    return take;
}

} // namespace AudioHost
