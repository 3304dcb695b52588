#include "support/testmicrophone.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace AudioHost {

namespace {

constexpr std::int64_t BlockNanoSec = 20'000'000;
constexpr std::int64_t BlockSamples = 960;

} // namespace

bool ClockPacer::WaitUntil(Kovra::JiffyTime instant) {
    clock_.nanoSec = std::max<std::int64_t>(clock_.nanoSec, instant.NanoSec());
    if (clock_.nanoSec - startNanoSec_ > stopNanoSec) {
        return false;
    }
    onWait(clock_.nanoSec - startNanoSec_);
    return true;
}

std::shared_ptr<Media::FrameAud> MakeMicrophoneFrame(Listening::SampleView sound, std::int64_t timeNanoSec,
                                                     std::uint32_t number) {
    boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
    params->SetParamsAud(Listening::SoundRateHz, 1, 16);
    auto frame = std::make_shared<Media::FrameAudRaw>(
        Media::FrameIdent(Kovra::SysTime(timeNanoSec), number, "Microphone"), params);
    std::size_t const size = sound.GetSize() * sizeof(std::int16_t);
    boost::intrusive_ptr<Kovra::Buffer> const buffer = Kovra::Buffer::Create(size, 1);
    std::memcpy(buffer->GetData(), sound.begin(), size);
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(buffer, 0, static_cast<std::uint32_t>(size)));
    frame->AttachBuffers(std::move(list));
    return frame;
}

int TestMicrophone::ReadFrames(std::vector<std::shared_ptr<Media::FrameAud>>& frames) {
    std::int64_t const time = clock_.nanoSec - startNanoSec_;
    if (time >= endNanoSec) {
        return failedStatus;
    }
    if (restartsNanoSec.size() < deadCaptures) {
        return NothingYet;
    }
    std::int64_t const captured = time / BlockNanoSec;
    while (given_ + skipped_ < captured) {
        Listening::Samples block;
        for (std::int64_t i = 0; i < BlockSamples; ++i) {
            auto const at = static_cast<std::size_t>((given_ + skipped_) * BlockSamples + i);
            block.push_back(sound_[at % sound_.size()]);
        }
        frames.push_back(MakeMicrophoneFrame(block, startNanoSec_ + given_ * BlockNanoSec, given_));
        ++given_;
    }
    return frames.empty() ? NothingYet : 0;
}

void TestMicrophone::Restart() {
    startNanoSec_ = clock_.nanoSec;
    restartsNanoSec.push_back(startNanoSec_ - firstNanoSec_);
    given_ = 0;
    skipped_ = 0;
}

} // namespace AudioHost
