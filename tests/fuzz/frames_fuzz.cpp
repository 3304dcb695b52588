// Arbitrary frames through the real codec and the module: any coding, any parameters, any bytes, any
// timestamps and presentation times. Nothing may crash, leak, or write outside a locked region; the simulated
// platform ends the program on any of these that the sanitizers do not see.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "simulation/world.h"
#include "support/module/builders.h"
#include "support/module/peers.h"

namespace {

constexpr int MaxFrames = 24;
constexpr std::size_t MaxFrameBytes = 4096;
constexpr std::int64_t MaxStepMilliSec = 2000;

std::vector<std::uint8_t> TakeBytes(FuzzedDataProvider& input, std::size_t max) {
    return input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, max));
}

Kovra::BufferInfoListScoped ListOf(std::vector<std::uint8_t> const& bytes) {
    auto block = Kovra::Buffer::Create(bytes.size(), 1);
    std::copy(bytes.begin(), bytes.end(), block->GetData());
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(std::move(block), 0, static_cast<std::uint32_t>(bytes.size())));
    return list;
}

std::shared_ptr<Media::FrameAud> TakeFrame(FuzzedDataProvider& input, Kovra::SysTime timestamp) {
    constexpr std::array<std::uint32_t, 8> FrequenciesHz = {8000,  16000, 44100, 48000,
                                                            96000, 0,     1,     UINT32_MAX};
    Media::FrameIdent ident(timestamp, 0, "Fuzz");
    auto const frequencyHz = input.PickValueInArray(FrequenciesHz);
    auto const channels = input.ConsumeIntegralInRange<std::uint32_t>(0, 9);
    auto const bits = input.ConsumeIntegralInRange<std::uint32_t>(0, 32);
    auto const coding = input.ConsumeIntegralInRange<std::uint32_t>(0x2ff, 0x306);

    std::shared_ptr<Media::FrameAud> frame;
    if (coding == static_cast<std::uint32_t>(Media::MediaCoding_t::RawPcm)) {
        boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
        params->SetParamsAud(frequencyHz, channels, bits);
        frame = std::make_shared<Media::FrameAudRaw>(std::move(ident), params);
    } else {
        boost::intrusive_ptr<Media::ParamsAud> const params(
            new Media::ParamsAud(static_cast<Media::MediaCoding_t>(coding)));
        params->SetParamsAud(frequencyHz, channels, bits);
        params->SetLaw(input.ConsumeBool() ? Media::G711Law_t::ALaw : Media::G711Law_t::MuLaw);
        params->SetDecoderConfig(TakeBytes(input, 32));
        frame = std::make_shared<Media::FrameAud>(std::move(ident), params);
    }
    if (input.ConsumeBool()) {
        frame->AttachBuffers(ListOf(TakeBytes(input, MaxFrameBytes)));
    }
    return frame;
}

/// A complaint of the platform is a finding, except one: frames with absurd channel counts make absurd sound
/// buffer descriptions, which it is DirectSound's part to refuse.
void EndProgram(std::string const& complaint) {
    if (complaint.rfind("misuse: CreateSoundBuffer:", 0) == 0) {
        return;
    }
    std::fprintf(stderr, "%s\n", complaint.c_str());
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Simulation::World world(EndProgram);
    Media::RendererAudioPlaybackDevice device;
    Media::RendererAudioPlaybackDevicePeer::OpenWithoutThread(device);
    boost::intrusive_ptr<Media::RendererAudioPlaybackState> session(
        new Media::RendererAudioPlaybackState(device));
    auto& buffer = Media::RendererAudioPlaybackStatePeer::GetBuffer(*session);

    std::int64_t timestampNanoSec = input.ConsumeIntegral<std::int64_t>();
    for (int i = 0; i < MaxFrames && input.remaining_bytes() != 0; ++i) {
        timestampNanoSec =
            input.ConsumeBool() ? input.ConsumeIntegral<std::int64_t>() : Kovra::SysTime::Now().NanoSec();
        auto const frame = TakeFrame(input, Kovra::SysTime(timestampNanoSec));
        Kovra::JiffyTime presentation =
            input.ConsumeBool() ? Kovra::JiffyTime(input.ConsumeIntegral<std::int64_t>())
                                : Kovra::JiffyTime::Now().AddMilliSec(input.ConsumeIntegral<std::int16_t>());
        session->Render(frame, presentation);
        world.Clock().AdvanceMilliSec(input.ConsumeIntegralInRange<std::int64_t>(0, MaxStepMilliSec));
        if (input.ConsumeBool()) {
            buffer.Service();
        }
    }
    session.reset();
    device.Close();
    return 0;
}
