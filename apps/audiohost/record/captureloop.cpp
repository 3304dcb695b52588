#include "record/captureloop.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

/// Half a frame: the renderer leaves out what lies behind the end of its ring when a read passes it, so a
/// read should seldom find more than one frame.
constexpr std::int64_t ReadIntervalMilliSec = 10;
constexpr std::int64_t PatienceNanoSec = 3 * Listening::NanoSecPerSec;
/// A capture that has not begun by then never will: on a busy machine Wine's now and then does not.
constexpr std::int64_t BeginNanoSec = Listening::NanoSecPerSec;

} // namespace

bool CaptureLoop::Run(Kovra::JiffyTime start, std::int64_t limitSamples) {
    leftSamples_ = limitSamples;
    Kovra::JiffyTime next = start;
    Kovra::JiffyTime lastCame = start;
    Kovra::JiffyTime begun = start;
    bool hasCome = false;
    while (leftSamples_ > 0) {
        // What was late is not made up for: each read takes all there is.
        Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
        next = (next < now ? now : next).AddMilliSec(ReadIntervalMilliSec);
        if (!pacer_.WaitUntil(next)) {
            Read();
            return false;
        }
        if (Read()) {
            lastCame = next;
            hasCome = true;
        } else if (next.GetDiffSysTime(lastCame).NanoSec() >= PatienceNanoSec) {
            throw HostError(ExitCode_t::NoInput,
                            "the microphone has given nothing for three seconds (status " +
                                std::to_string(status_) + ").");
        } else if (!hasCome && next.GetDiffSysTime(begun).NanoSec() >= BeginNanoSec) {
            microphone_.Restart();
            begun = next;
        }
    }
    return true;
}

bool CaptureLoop::Read() {
    frames_.clear();
    status_ = microphone_.ReadFrames(frames_);
    if (status_ < 0 && status_ != Microphone::NothingYet) {
        keeper_.AddFailure(status_);
    }
    if (frames_.empty()) {
        return false;
    }
    keeper_.AddFrames(frames_, microphone_.GetLevel());
    for (std::shared_ptr<Media::FrameAud> const& frame : frames_) {
        HandOn(*frame);
    }
    return true;
}

void CaptureLoop::HandOn(Media::FrameAud const& frame) {
    Kovra::BufferInfo const* const data = frame.GetConstBufferBegin();
    bool const isExpected = data && data->GetLength() == CaptureFrameSamples * sizeof(std::int16_t) &&
                            frame.GetCoding() == Media::MediaCoding_t::RawPcm &&
                            frame.GetFrequency() == Listening::SoundRateHz && frame.GetNumChannels() == 1;
    if (!isExpected) {
        throw HostError(ExitCode_t::Internal,
                        "the renderer gave a frame that is not 20 ms of 48 kHz mono PCM.");
    }
    // Bytes of a frame need not be aligned for samples.
    Listening::Samples sound(static_cast<std::size_t>(std::min(leftSamples_, CaptureFrameSamples)));
    std::memcpy(sound.data(), data->GetData(), sound.size() * sizeof(std::int16_t));
    leftSamples_ -= static_cast<std::int64_t>(sound.size());
    if (!sound.empty()) {
        sink_(sound);
        keeper_.AddSound(sound);
    }
}

} // namespace AudioHost
