#include "audioresampler.h"

#include <utility>
#include <vector>

extern "C" {
#include <libavutil/opt.h>
}

namespace Media {

namespace {

/// Everything that the plan counts on is set by name, not left to the library's defaults.
bool SetFilter(SwrContext* context) {
    return av_opt_set_int(context, "filter_size", ResamplerFilterTaps, 0) >= 0 &&
           av_opt_set_double(context, "cutoff", ResamplerCutoffPercent / 100.0, 0) >= 0 &&
           // One filter phase for each of the ratio's phases: no error from rounding to the nearest phase.
           av_opt_set_int(context, "exact_rational", 1, 0) >= 0 &&
           // 16-bit arithmetic inside would add rounding noise of its own.
           av_opt_set_sample_fmt(context, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0) >= 0;
}

SwrOwner OpenContext(PcmFormat in, PcmFormat out) {
    AVChannelLayout inLayout = DefaultLayout(static_cast<int>(in.channels));
    AVChannelLayout outLayout = DefaultLayout(static_cast<int>(out.channels));
    SwrContext* context = nullptr;
    if (swr_alloc_set_opts2(&context, &outLayout, AV_SAMPLE_FMT_S16, static_cast<int>(out.frequency),
                            &inLayout, AV_SAMPLE_FMT_S16, static_cast<int>(in.frequency), 0, nullptr) < 0) {
        return nullptr;
    }
    SwrOwner owner(context);
    if (!SetFilter(owner.get()) || swr_init(owner.get()) < 0) {
        return nullptr;
    }
    return owner;
}

bool AreTooFarApart(std::int64_t a, std::int64_t b) {
    return a > b * AudioResampler::MaxRateRatio || b > a * AudioResampler::MaxRateRatio;
}

} // namespace

std::unique_ptr<AudioResampler> AudioResampler::Create(PcmFormat in, PcmFormat out) {
    if (AreTooFarApart(in.frequency, out.frequency)) {
        return nullptr;
    }
    SwrOwner context = OpenContext(in, out);
    if (!context) {
        return nullptr;
    }
    std::unique_ptr<AudioResampler> resampler(new AudioResampler(in, out, std::move(context)));
    return resampler->Prime() ? std::move(resampler) : nullptr;
}

AudioResampler::AudioResampler(PcmFormat in, PcmFormat out, SwrOwner context)
    : in_(in),
      out_(out),
      plan_(PlanResampler(in.frequency, out.frequency)),
      context_(std::move(context)),
      share_(in.frequency, out.frequency) {}

bool AudioResampler::Prime() {
    if (plan_.primingSamples == 0) {
        return true;
    }
    std::vector<std::uint8_t> const silence(static_cast<std::size_t>(plan_.primingSamples) *
                                            BytesPerSampleGroup(in_));
    std::vector<std::uint8_t> discarded(static_cast<std::size_t>(plan_.discardedSamples) *
                                        BytesPerSampleGroup(out_));
    return ConvertInto(discarded.data(), plan_.discardedSamples, silence.data(), plan_.primingSamples) ==
           static_cast<std::size_t>(plan_.discardedSamples);
}

std::size_t AudioResampler::ConvertInto(std::uint8_t* out, std::int64_t outGroups, std::uint8_t const* in,
                                        std::int64_t inGroups) {
    // Room for exactly what is due: input that could give more waits inside.
    int const converted =
        swr_convert(context_.get(), &out, static_cast<int>(outGroups), &in, static_cast<int>(inGroups));
    return converted < 0 ? 0 : static_cast<std::size_t>(converted);
}

PcmBlock AudioResampler::Convert(std::uint8_t const* samples, std::size_t sampleGroups) {
    auto const inGroups = static_cast<std::int64_t>(sampleGroups);
    SampleShare share = share_;
    std::int64_t const due = share.Take(inGroups);
    auto const dueGroups = static_cast<std::size_t>(due);
    if (dueGroups > MaxRawFrameBytes / BytesPerSampleGroup(out_)) {
        return {};
    }
    share_ = share;
    PcmBlock block{CreatePcmBuffer(out_, dueGroups), 0};
    block.sampleGroups = ConvertInto(block.buffer->GetData(), due, samples, inGroups);
    return block;
}

PcmBlock AudioResampler::Flush() {
    if (plan_.delaySamples == 0) {
        return {};
    }
    // The stream goes on as silence for as long as the delay: what was held comes out, no more.
    auto const held = static_cast<std::size_t>(plan_.delaySamples);
    std::vector<std::uint8_t> const silence(held * BytesPerSampleGroup(in_));
    return Convert(silence.data(), held);
}

} // namespace Media
