#include "files/packetsource.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>

#include "files/pcmdecoder.h"
#include "listening/samples.h"
#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

/// The containers that the program promises to play. Without the list a file of another kind could be taken
/// for one of the many that the distribution's library knows, text for "ASCII art" among them.
constexpr char const* Containers = "wav,w64,aiff,mp3,aac,mov,ogg,flac,matroska";

std::string Quote(std::string const& path) {
    return "'" + path + "'";
}

/// Tells apart what the library reports as one error.
void RequireReadable(std::string const& path) {
    std::filesystem::path const file = std::filesystem::u8path(path);
    std::error_code error;
    std::filesystem::file_status const status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw HostError(ExitCode_t::FileMissing, Quote(path) + " does not exist.");
    }
    if (status.type() == std::filesystem::file_type::directory) {
        throw HostError(ExitCode_t::NotAudio, Quote(path) + " is a folder, not an audio file.");
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw HostError(ExitCode_t::NotAudio,
                        Quote(path) + " cannot be read: is it open elsewhere, or are rights missing?");
    }
    if (stream.peek() == std::ifstream::traits_type::eof()) {
        throw HostError(ExitCode_t::NotAudio, Quote(path) + " is empty.");
    }
}

} // namespace

PacketSource::PacketSource(MediaInput const& input) : packet_(av_packet_alloc()) {
    if (!packet_) {
        throw std::bad_alloc();
    }
    std::string const& path = input.path;
    if (!input.bytes) {
        RequireReadable(path);
    }
    format_ = OpenFormat(input, Containers);
    if (!format_) {
        throw HostError(ExitCode_t::NotAudio, Quote(path) + " is not an audio file that can be played.");
    }
    int const index = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0) {
        throw HostError(ExitCode_t::NoSound, Quote(path) + " has no audio stream.");
    }
    stream_ = format_->streams[index];
    for (unsigned int i = 0; i < format_->nb_streams; ++i) {
        format_->streams[i]->discard = static_cast<int>(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    AVCodecParameters const& parameters = *stream_->codecpar;
    if (!IsRateOfSound(parameters.sample_rate) || parameters.ch_layout.nb_channels <= 0) {
        throw HostError(ExitCode_t::NotAudio, Quote(path) + " is not an audio file that can be played.");
    }
}

std::int64_t PacketSource::GetDurationNanoSec() const {
    std::int64_t const told = stream_->duration != AV_NOPTS_VALUE && stream_->duration > 0
                                  ? av_rescale_q(stream_->duration, stream_->time_base,
                                                 {1, static_cast<int>(Listening::NanoSecPerSec)})
                                  : av_rescale(format_->duration, Listening::NanoSecPerSec, AV_TIME_BASE);
    // Negative where nothing is told, and where the count of nanoseconds overflows.
    return std::max<std::int64_t>(0, told);
}

AVPacket const* PacketSource::Next() {
    for (;;) {
        av_packet_unref(packet_.get());
        if (av_read_frame(format_.get(), packet_.get()) < 0) {
            return nullptr;
        }
        if (packet_->stream_index == stream_->index && packet_->size > 0) {
            ++packetCount_;
            return packet_.get();
        }
    }
}

std::string FileNameOf(std::string const& path) {
    return std::filesystem::u8path(path).filename().u8string();
}

} // namespace AudioHost
