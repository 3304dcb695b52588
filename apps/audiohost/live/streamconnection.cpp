#include "live/streamconnection.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <utility>

#include "files/pcmdecoder.h"
#include "terminal/hosterror.h"
#include "terminal/streamaddress.h"

namespace AudioHost {

namespace {

/// What a server may take for its goodbye.
constexpr std::int64_t CloseLimitNanoSec = 300 * Kovra::NanoSecPerMilliSec;
/// MPEG-TS counts its time so; the other containers' times come unwrapped.
constexpr int TransportStreamWrapBits = 33;
/// Enough to find the programme of a transport stream, and what a coded stream says of itself, beside a
/// picture that nobody looks at.
constexpr char const* ProbeBytes = "5000000";
constexpr char const* ProbeMicroSec = "1000000";

/// Windows' own numbers, which the library does not translate.
constexpr int WinsockAddressInUse = 10'048;
constexpr int WinsockNetworkUnreachable = 10'051;
constexpr int WinsockConnectionReset = 10'054;
constexpr int WinsockConnectionRefused = 10'061;
constexpr int WinsockHostUnreachable = 10'065;

enum class Scheme_t { Rtsp, Description, TransportStream, Http };

Scheme_t KindOf(std::string const& address) {
    auto const begins = [&address](char const* scheme) { return address.rfind(scheme, 0) == 0; };
    if (begins("rtsp://")) {
        return Scheme_t::Rtsp;
    }
    if (begins("udp://")) {
        return Scheme_t::TransportStream;
    }
    if (begins("http://")) {
        return Scheme_t::Http;
    }
    if (address.find("://") == std::string::npos) {
        return Scheme_t::Description;
    }
    throw HostError(ExitCode_t::Usage, "'" + WithoutCredentials(address) +
                                           "' is no address that can be played: rtsp://, udp://, http://, or "
                                           "a file that ends in .sdp.");
}

/// Ends the library's waits.
struct Watch {
    std::shared_ptr<std::atomic<bool>> stop;
    std::int64_t deadlineNanoSec = 0;
    bool isClosing = false;

    void Allow(std::int64_t nanoSec) { deadlineNanoSec = Kovra::JiffyTime::Now().NanoSec() + nanoSec; }
    bool IsOver() const { return Kovra::JiffyTime::Now().NanoSec() > deadlineNanoSec; }
    static int Ask(void* opaque) {
        auto const& watch = *static_cast<Watch*>(opaque);
        return (!watch.isClosing && *watch.stop) || watch.IsOver() ? 1 : 0;
    }
};

class FfmpegStream : public StreamConnection {
public:
    FfmpegStream(std::string const& address, Transport_t transport, std::shared_ptr<std::atomic<bool>> stop)
        : shown_("'" + WithoutCredentials(address) + "'"),
          scheme_(KindOf(address)),
          watch_(std::make_unique<Watch>()),
          packet_(av_packet_alloc()) {
        if (!packet_) {
            throw std::bad_alloc();
        }
        watch_->stop = std::move(stop);
        watch_->Allow(OpenLimitNanoSec);
        Open(address, transport);
        Choose();
    }

    ~FfmpegStream() override {
        watch_->isClosing = true;
        watch_->Allow(CloseLimitNanoSec);
    }

    FfmpegStream(FfmpegStream const&) = delete;
    FfmpegStream& operator=(FfmpegStream const&) = delete;

    StreamFormat const& GetFormat() const override { return told_; }

    Result_t Read(LivePacket& packet, std::string& why) override {
        watch_->Allow(StallLimitNanoSec);
        for (;;) {
            av_packet_unref(packet_.get());
            int const status = av_read_frame(format_.get(), packet_.get());
            if (status == AVERROR(EAGAIN) && !watch_->IsOver()) {
                continue;
            }
            if (status < 0) {
                return EndBy(status, why);
            }
            if (packet_->stream_index == stream_->index && packet_->size > 0) {
                Fill(packet);
                return Result_t::Packet;
            }
            if (watch_->IsOver()) {
                return EndBy(AVERROR_EXIT, why);
            }
        }
    }

private:
    void Open(std::string const& address, Transport_t transport) {
        std::string const path = "file:" + address;
        if (scheme_ == Scheme_t::Description && !std::filesystem::exists(std::filesystem::u8path(address))) {
            throw HostError(ExitCode_t::FileMissing, shown_ + " does not exist.");
        }
        AVFormatContext* context = avformat_alloc_context();
        if (!context) {
            throw std::bad_alloc();
        }
        context->interrupt_callback = {Watch::Ask, watch_.get()};
        // The stream clock follows them.
        context->correct_ts_overflow = 0;
        AVDictionary* settings = nullptr;
        bool const isDescription = scheme_ == Scheme_t::Description;
        av_dict_set(&settings, "protocol_whitelist", isDescription ? "file,rtp,udp" : "rtp,udp,tcp,http", 0);
        av_dict_set(&settings, "format_whitelist",
                    scheme_ == Scheme_t::Http ? "mpegts,aac,mp3,ogg,flac,wav" : "rtsp,sdp,mpegts", 0);
        av_dict_set(&settings, "rtsp_transport", transport == Transport_t::Tcp ? "tcp" : "udp", 0);
        av_dict_set(&settings, "allowed_media_types", "audio", 0);
        // What waits in a queue of the library has lost the time of its arrival; ours keeps it.
        av_dict_set(&settings, "reorder_queue_size", "0", 0);
        av_dict_set(&settings, "analyzeduration", ProbeMicroSec, 0);
        av_dict_set(&settings, "probesize", ProbeBytes, 0);
        if (scheme_ == Scheme_t::Http) {
            // AAC and MP3 have no timestamps to wait for, which would take a second of a live stream; how
            // long the first frame is shows with the second.
            av_dict_set(&settings, "max_ts_probe", "2", 0);
        } else {
            // What was looked at comes too late to be heard.
            context->flags |= AVFMT_FLAG_NOBUFFER;
        }
        AVInputFormat const* const format = scheme_ == Scheme_t::TransportStream
                                                ? av_find_input_format("mpegts")
                                            : isDescription ? av_find_input_format("sdp")
                                                            : nullptr;
        int status =
            avformat_open_input(&context, isDescription ? path.c_str() : address.c_str(), format, &settings);
        av_dict_free(&settings);
        if (status >= 0) {
            format_.reset(context);
            status = NeedsLook() ? avformat_find_stream_info(format_.get(), nullptr) : 0;
        }
        // Of a wait that was ended the library may tell what was there before it, or that it got nonsense.
        status = watch_->IsOver() ? AVERROR_EXIT : status;
        if (status < 0) {
            throw HostError(ExitCode_t::NoStream, shown_ + " " + ReasonOf(status, isDescription) + ".");
        }
    }

    /// A description may tell all that there is to know; looking at packets would lose them.
    bool NeedsLook() const {
        for (unsigned int i = 0; i < format_->nb_streams; ++i) {
            AVCodecParameters const& parameters = *format_->streams[i]->codecpar;
            if (parameters.codec_type == AVMEDIA_TYPE_AUDIO && IsComplete(parameters)) {
                return false;
            }
        }
        return scheme_ == Scheme_t::Http || scheme_ == Scheme_t::TransportStream || format_->nb_streams > 0;
    }

    static bool IsComplete(AVCodecParameters const& parameters) {
        return parameters.codec_id != AV_CODEC_ID_NONE && IsRateOfSound(parameters.sample_rate) &&
               parameters.ch_layout.nb_channels > 0;
    }

    void Choose() {
        int const index = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
        if (index < 0) {
            throw HostError(ExitCode_t::NoSound, shown_ + " has no audio in it.");
        }
        stream_ = format_->streams[index];
        if (!IsComplete(*stream_->codecpar) || !avcodec_find_decoder(stream_->codecpar->codec_id)) {
            throw HostError(ExitCode_t::NotAudio, shown_ + " is in a coding that cannot be decoded here.");
        }
        AskDecoder(*stream_->codecpar);
        told_.parameters = {avcodec_parameters_alloc(),
                            [](AVCodecParameters* parameters) { avcodec_parameters_free(&parameters); }};
        if (!told_.parameters || avcodec_parameters_copy(told_.parameters.get(), stream_->codecpar) < 0) {
            throw std::bad_alloc();
        }
        bool const isWrapped = stream_->pts_wrap_bits == TransportStreamWrapBits;
        told_.timeBase = stream_->time_base;
        told_.ticksPerSec = isWrapped ? stream_->time_base.den : Kovra::NanoSecPerSec;
        told_.wrapBits = isWrapped ? TransportStreamWrapBits : 64;
        std::string const name = format_->iformat->name;
        told_.hasOwnHeaders = name == "aac" || stream_->codecpar->extradata_size == 0;
        told_.isAhead = scheme_ == Scheme_t::Http;
        told_.isFinite = scheme_ == Scheme_t::Http && avio_size(format_->pb) > 0;
    }

    /// AAC tells its channels and how long its packets sound to a decoder only: a description may leave the
    /// first out, and RTP does the second.
    void AskDecoder(AVCodecParameters& parameters) {
        if (parameters.codec_id != AV_CODEC_ID_AAC) {
            return;
        }
        AVCodec const* const decoder = avcodec_find_decoder(parameters.codec_id);
        decoder_.reset(avcodec_alloc_context3(decoder));
        frame_.reset(av_frame_alloc());
        if (!decoder_ || !frame_) {
            throw std::bad_alloc();
        }
        if (avcodec_parameters_to_context(decoder_.get(), &parameters) < 0 ||
            avcodec_open2(decoder_.get(), decoder, nullptr) < 0) {
            decoder_.reset();
        } else if (decoder_->ch_layout.nb_channels > 0 &&
                   av_channel_layout_copy(&parameters.ch_layout, &decoder_->ch_layout) < 0) {
            throw std::bad_alloc();
        }
    }

    /// Of the first packet that can be decoded; all are alike.
    void FindSpan() {
        if (decoder_ && avcodec_send_packet(decoder_.get(), packet_.get()) >= 0 &&
            avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0 && IsRateOfSound(frame_->sample_rate)) {
            spanNanoSec_ = frame_->nb_samples * Kovra::NanoSecPerSec / frame_->sample_rate;
            decoder_.reset();
        }
    }

    Result_t EndBy(int status, std::string& why) const {
        if (*watch_->stop) {
            return Result_t::Ended;
        }
        if ((status == AVERROR_EOF && told_.isFinite) || HasPlayedAll()) {
            return Result_t::Ended;
        }
        bool const isSilent = watch_->IsOver();
        why = status == AVERROR_EOF ? "the sender has ended it"
              : isSilent
                  ? "nothing has come for " + std::to_string(StallLimitNanoSec / Kovra::NanoSecPerSec) + " s"
                  : "the connection is broken";
        return isSilent ? Result_t::Silent : Result_t::Broken;
    }

    /// A server that plays a recording tells how long it is, and leaves it at silence or hangs up in the end.
    bool HasPlayedAll() const {
        constexpr std::int64_t NanoSecPerUnit = Kovra::NanoSecPerSec / AV_TIME_BASE;
        std::int64_t const whole = format_->duration > 0 && format_->duration < INT64_MAX / NanoSecPerUnit
                                       ? format_->duration * NanoSecPerUnit
                                       : INT64_MAX;
        std::int64_t const played = av_rescale(static_cast<std::int64_t>(lastTicks_ - firstTicks_),
                                               Kovra::NanoSecPerSec, told_.ticksPerSec);
        return scheme_ == Scheme_t::Rtsp && played >= whole - StallLimitNanoSec;
    }

    void Fill(LivePacket& packet) {
        packet.arrival = Kovra::JiffyTime::Now();
        packet.data.assign(packet_->data, packet_->data + packet_->size);
        AVRational const nanoSec = {1, static_cast<int>(Kovra::NanoSecPerSec)};
        FindSpan();
        packet.durationNanoSec =
            spanNanoSec_ > 0
                ? spanNanoSec_
                : std::clamp<std::int64_t>(av_rescale_q(packet_->duration, stream_->time_base, nanoSec), 0,
                                           Kovra::NanoSecPerSec);
        std::int64_t const stamp = packet_->pts != AV_NOPTS_VALUE ? packet_->pts : packet_->dts;
        if (stamp == AV_NOPTS_VALUE) {
            // The second frame of a packet of several.
            std::int64_t const span =
                av_rescale(lastDurationNanoSec_, told_.ticksPerSec, Kovra::NanoSecPerSec);
            packet.ticks = lastTicks_ + static_cast<std::uint64_t>(span);
        } else {
            AVRational const ticks = {1, static_cast<int>(told_.ticksPerSec)};
            packet.ticks = static_cast<std::uint64_t>(av_rescale_q(stamp, stream_->time_base, ticks));
        }
        firstTicks_ = hasRead_ ? firstTicks_ : packet.ticks;
        hasRead_ = true;
        lastTicks_ = packet.ticks;
        lastDurationNanoSec_ = packet.durationNanoSec;
    }

    std::string const shown_;
    Scheme_t const scheme_;
    /// Outlives the format, which asks it.
    std::unique_ptr<Watch> watch_;
    FormatPointer format_;
    PacketPointer packet_;
    AVStream* stream_ = nullptr;
    StreamFormat told_;
    /// Until it has told what a packet sounds for; 0 where nothing tells it.
    CodecPointer decoder_;
    FramePointer frame_;
    std::int64_t spanNanoSec_ = 0;
    bool hasRead_ = false;
    std::uint64_t firstTicks_ = 0;
    std::uint64_t lastTicks_ = 0;
    std::int64_t lastDurationNanoSec_ = 0;
};

} // namespace

std::string ReasonOf(int status, bool isDescription) {
    switch (status) {
        case AVERROR_HTTP_UNAUTHORIZED:
        case AVERROR_HTTP_FORBIDDEN:
            return "asks for a name and a password, or refuses those in the address";
        case AVERROR_HTTP_NOT_FOUND:
            return "has nothing under this path";
        case AVERROR_EXIT:
        case AVERROR(ETIMEDOUT):
            return "does not answer: nobody listens there, or the way to it is closed";
        case AVERROR(ECONNREFUSED):
        case AVERROR(WinsockConnectionRefused):
            return "refuses the connection: nothing listens there";
        case AVERROR(WinsockConnectionReset):
            return "breaks off the connection";
        case AVERROR(WinsockNetworkUnreachable):
        case AVERROR(WinsockHostUnreachable):
            return "cannot be reached: there is no way to it";
        case AVERROR(EIO):
            return "cannot be reached: there is no such host, no way to it, or each address sends on to "
                   "another";
        case AVERROR(WinsockAddressInUse):
            return "cannot be received: another program has its port";
        case AVERROR_PROTOCOL_NOT_FOUND:
            return "sends on to an address of a kind that cannot be played, such as https";
        case AVERROR_INVALIDDATA:
            // The library tells one from the other by its log alone.
            return isDescription ? "cannot be received: another program has its port, or it is no description"
                                 : "sends nothing that can be understood";
        case AVERROR_EOF:
            return "ends at once";
        default: {
            char text[AV_ERROR_MAX_STRING_SIZE] = {};
            av_strerror(status, text, sizeof(text));
            return std::string("cannot be opened: ") + text;
        }
    }
}

std::unique_ptr<StreamConnection> OpenStream(std::string const& address, Transport_t transport,
                                             std::shared_ptr<std::atomic<bool>> stop) {
    return std::make_unique<FfmpegStream>(address, transport, std::move(stop));
}

} // namespace AudioHost
