#include "talk/rtpsender.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <vector>

#include "codec/audiocodecproxy.h"
#include "files/ffmpegpointers.h"
#include "files/pcmframes.h"
#include "terminal/hosterror.h"
#include "terminal/streamaddress.h"
#include "terminal/textformat.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace AudioHost {

namespace {

/// The next one is for the reports.
constexpr int MaxPort = 65'534;
constexpr int FrameMilliSec = 20;

struct Coding {
    /// As the library calls it.
    char const* encoder;
    char const* words;
    int rateHz;
    /// 0: the coding has but one.
    std::int64_t bitsPerSec;
    /// Silence that brings out what was said last: a filter holds 2 ms; AAC's coder a frame, what is short of
    /// the next one and, as it fills packets, one more; Opus's coder what is short of a packet.
    int tailSamples;
    /// Packets that stay behind until the next one fills them.
    std::uint64_t heldPackets;
};

Coding CodingOf(TalkCodec_t codec) {
    switch (codec) {
        case TalkCodec_t::Pcma:
            return {"pcm_alaw", "G.711 A-law", 8'000, 0, 160, 0};
        case TalkCodec_t::Aac:
            return {"aac", "AAC", static_cast<int>(Listening::SoundRateHz), 64'000, 3 * 1024, 1};
        case TalkCodec_t::Opus:
            return {"opus", "Opus", static_cast<int>(Listening::SoundRateHz), 64'000, 960, 0};
        case TalkCodec_t::Pcmu:
            break;
    }
    return {"pcm_mulaw", "G.711 mu-law", 8'000, 0, 160, 0};
}

void RequireAddress(std::string const& address) {
    std::array<char, 8> scheme{};
    std::array<char, 256> credentials{};
    std::array<char, 256> host{};
    std::array<char, 8> path{};
    int port = 0;
    av_url_split(scheme.data(), scheme.size(), credentials.data(), credentials.size(), host.data(),
                 host.size(), &port, path.data(), path.size(), address.c_str());
    // The library takes what follows the digits for nothing.
    std::string const end = ":" + std::to_string(port);
    bool const isWhole =
        address.size() > end.size() && address.compare(address.size() - end.size(), end.size(), end) == 0;
    if (std::strcmp(scheme.data(), "rtp") != 0 || host[0] == 0 || credentials[0] != 0 || port < 1 ||
        port > MaxPort || !isWhole) {
        throw HostError(ExitCode_t::Usage, "'" + WithoutCredentials(address) +
                                               "' is no address to talk to: rtp://HOST:PORT, with a port "
                                               "from 1 to " +
                                               std::to_string(MaxPort) + ".");
    }
}

struct OutputDeleter {
    void operator()(AVFormatContext* context) const {
        // It frees what the header has made.
        if (context->pb) {
            av_write_trailer(context);
        }
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

CodecPointer OpenEncoder(Coding const& coding) {
    AVCodec const* const encoder = avcodec_find_encoder_by_name(coding.encoder);
    CodecPointer context(avcodec_alloc_context3(encoder));
    if (!context) {
        throw std::bad_alloc();
    }
    context->sample_rate = coding.rateHz;
    av_channel_layout_default(&context->ch_layout, 1);
    context->sample_fmt = encoder ? encoder->sample_fmts[0] : AV_SAMPLE_FMT_NONE;
    context->bit_rate = coding.bitsPerSec;
    context->time_base = {1, coding.rateHz};
    // The library's own coder for Opus asks to be wanted.
    context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    AVDictionary* settings = nullptr;
    // It would look a third of a second ahead.
    av_dict_set_int(&settings, "opus_delay", FrameMilliSec, 0);
    int const status = encoder ? avcodec_open2(context.get(), encoder, &settings) : AVERROR_ENCODER_NOT_FOUND;
    av_dict_free(&settings);
    if (status < 0) {
        throw HostError(ExitCode_t::Internal, std::string("there is no coder for ") + coding.words + ".");
    }
    return context;
}

} // namespace

struct RtpSender::Coder {
    explicit Coder(Coding const& coding_)
        : coding(coding_),
          encoder(OpenEncoder(coding)),
          frameSamples(encoder->frame_size > 0
                           ? static_cast<std::size_t>(encoder->frame_size)
                           : static_cast<std::size_t>(coding.rateHz * FrameMilliSec / 1000)),
          frame(av_frame_alloc()),
          packet(av_packet_alloc()),
          params(new Media::ParamsAudRaw),
          stamper(Kovra::SysTime(), "Talk") {
        if (!frame || !packet) {
            throw std::bad_alloc();
        }
        params->SetParamsAud(Listening::SoundRateHz, 1, 16);
    }

    /// Opens the way to the address and tells its description.
    std::string Open(std::string const& address) {
        RequireAddress(address);
        AVFormatContext* context = nullptr;
        if (avformat_alloc_output_context2(&context, nullptr, "rtp", address.c_str()) < 0) {
            throw std::bad_alloc();
        }
        output.reset(context);
        av_dict_set(&context->metadata, "title", "audiohost", 0);
        AVStream* const stream = avformat_new_stream(context, nullptr);
        if (!stream || avcodec_parameters_from_context(stream->codecpar, encoder.get()) < 0) {
            throw std::bad_alloc();
        }
        stream->time_base = encoder->time_base;
        if (avio_open(&context->pb, address.c_str(), AVIO_FLAG_WRITE) < 0) {
            throw HostError(ExitCode_t::NoStream, "'" + address +
                                                      "' cannot be reached: there is no such host, or no way "
                                                      "to it.");
        }
        std::array<char, 4096> text{};
        if (avformat_write_header(context, nullptr) < 0) {
            avio_closep(&context->pb);
            throw std::bad_alloc();
        }
        if (av_sdp_create(&context, 1, text.data(), text.size()) < 0) {
            throw HostError(ExitCode_t::Internal, "what is sent cannot be described.");
        }
        return text.data();
    }

    /// Brings the sound to the coding's rate.
    void Take(Listening::SampleView sound) {
        if (coding.rateHz == static_cast<int>(Listening::SoundRateHz)) {
            Listening::Samples& held = pending.Grow();
            held.insert(held.end(), sound.begin(), sound.end());
            return;
        }
        auto whole = std::make_shared<Media::FrameAudRaw>(stamper.Stamp(0), params);
        whole->AttachBuffers(CopyToBuffer(sound.begin(), sound.GetSize() * sizeof(std::int16_t)));
        for (auto const& part :
             resampler.Transcode({whole}, Media::MediaCoding_t::RawPcm, 1,
                                 static_cast<unsigned int>(coding.rateHz), whole->GetDuration(), false)) {
            Kovra::BufferInfo const& data = *part->GetConstBufferBegin();
            Listening::Samples& held = pending.Grow();
            std::size_t const size = held.size();
            held.resize(size + data.GetLength() / sizeof(std::int16_t));
            std::memcpy(held.data() + size, data.GetData(), data.GetLength());
        }
    }

    /// The next frame for the coder, of what is pending.
    void FillFrame() {
        av_frame_unref(frame.get());
        frame->nb_samples = static_cast<int>(frameSamples);
        frame->format = encoder->sample_fmt;
        frame->sample_rate = coding.rateHz;
        frame->pts = samples;
        samples += frame->nb_samples;
        if (av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout) < 0 ||
            av_frame_get_buffer(frame.get(), 0) < 0) {
            throw std::bad_alloc();
        }
        std::int16_t const* const from = pending.Take(frameSamples);
        if (frame->format == AV_SAMPLE_FMT_S16) {
            std::memcpy(frame->data[0], from, frameSamples * sizeof(std::int16_t));
            return;
        }
        std::transform(
            from, from + frameSamples, reinterpret_cast<float*>(frame->data[0]),
            [](std::int16_t sample) { return static_cast<float>(sample / Listening::FullScaleLsb); });
    }

    /// True when the network took it.
    bool WritePacket() {
        av_packet_rescale_ts(packet.get(), encoder->time_base, output->streams[0]->time_base);
        bool const isWritten = av_write_frame(output.get(), packet.get()) >= 0;
        // Else it would never try again.
        output->pb->error = 0;
        return isWritten;
    }

    Coding const coding;
    CodecPointer const encoder;
    std::size_t const frameSamples;
    FramePointer const frame;
    PacketPointer const packet;
    boost::intrusive_ptr<Media::ParamsAudRaw> const params;
    FrameStamper stamper;
    Media::AudioCodecProxy resampler;
    std::unique_ptr<AVFormatContext, OutputDeleter> output;
    /// At the coding's rate.
    Uncut<std::int16_t> pending;
    std::int64_t samples = 0;
};

RtpSender::RtpSender(std::string const& address, TalkCodec_t codec)
    : coder_(std::make_unique<Coder>(CodingOf(codec))), description_(coder_->Open(address)) {}

RtpSender::~RtpSender() = default;

std::string RtpSender::GetCoding() const {
    return std::string(coder_->coding.words) + ", " + std::to_string(coder_->coding.rateHz) + " Hz";
}

std::uint64_t RtpSender::CountPackets() const {
    return written_ - std::min(written_, coder_->coding.heldPackets);
}

void RtpSender::Send(Listening::SampleView sound) {
    coder_->Take(sound);
    while (coder_->pending.GetSize() >= coder_->frameSamples) {
        coder_->FillFrame();
        Encode();
    }
}

void RtpSender::End() {
    Coding const& coding = coder_->coding;
    // At the microphone's rate.
    Send(Listening::Samples(static_cast<std::size_t>(coding.tailSamples) * Listening::SoundRateHz /
                            static_cast<std::size_t>(coding.rateHz)));
}

void RtpSender::Encode() {
    if (avcodec_send_frame(coder_->encoder.get(), coder_->frame.get()) < 0) {
        throw std::bad_alloc();
    }
    while (avcodec_receive_packet(coder_->encoder.get(), coder_->packet.get()) >= 0) {
        ++written_;
        failed_ += coder_->WritePacket() ? 0 : 1;
        av_packet_unref(coder_->packet.get());
    }
}

} // namespace AudioHost
