#include "files/wavfile.h"

#include <filesystem>
#include <utility>

#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

constexpr std::uint32_t HeaderBytes = 44;
/// What the size in the first eight bytes does not count.
constexpr std::uint32_t PreambleBytes = 8;
constexpr std::uint32_t FormatChunkBytes = 16;
constexpr std::uint32_t PcmTag = 1;
constexpr std::uint32_t Channels = 1;
constexpr std::uint32_t SampleBytes = 2;
constexpr std::uint32_t ByteBits = 8;

std::string Number(std::uint32_t value, std::uint32_t bytes) {
    std::string text;
    for (std::uint32_t i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (ByteBits * i) & 0xFFU);
    }
    return text;
}

std::string MakeHeader(std::uint32_t samples) {
    std::uint32_t const data = samples * SampleBytes;
    return "RIFF" + Number(HeaderBytes - PreambleBytes + data, 4) + "WAVEfmt " + Number(FormatChunkBytes, 4) +
           Number(PcmTag, 2) + Number(Channels, 2) + Number(Listening::SoundRateHz, 4) +
           Number(Listening::SoundRateHz * Channels * SampleBytes, 4) + Number(Channels * SampleBytes, 2) +
           Number(SampleBytes * ByteBits, 2) + "data" + Number(data, 4);
}

std::string BytesOf(Listening::SampleView samples) {
    std::string bytes;
    bytes.reserve(samples.GetSize() * SampleBytes);
    for (std::int16_t const sample : samples) {
        bytes += Number(static_cast<std::uint16_t>(sample), SampleBytes);
    }
    return bytes;
}

} // namespace

bool WavStream::WriteHeader() {
    out_.seekp(0);
    out_ << MakeHeader(count_) << std::flush;
    return out_.good();
}

bool WavStream::Append(Listening::SampleView samples) {
    if (!isGood_ || samples.GetSize() > MaxSamples - count_) {
        return false;
    }
    out_.seekp(static_cast<std::streamoff>(GetSizeBytes()));
    out_ << BytesOf(samples) << std::flush;
    isGood_ = out_.good();
    if (isGood_) {
        // Only sound that has been written is counted.
        count_ += static_cast<std::uint32_t>(samples.GetSize());
        isGood_ = WriteHeader();
    }
    return isGood_;
}

std::uint64_t WavStream::GetSizeBytes() const {
    return HeaderBytes + std::uint64_t{count_} * SampleBytes;
}

WavFile::WavFile(std::string path) : path_(std::move(path)) {
    std::filesystem::path const place = std::filesystem::u8path(path_);
    std::error_code error;
    hasExisted_ = std::filesystem::exists(place, error);
    if (!std::ofstream(place, std::ios::binary | std::ios::app)) {
        throw HostError(ExitCode_t::NotWritten, "'" + path_ + "' cannot be written.");
    }
}

WavFile::~WavFile() {
    if (!hasExisted_ && !stream_) {
        std::error_code error;
        std::filesystem::remove(std::filesystem::u8path(path_), error);
    }
}

void WavFile::Append(Listening::SampleView samples) {
    if (!stream_) {
        file_.open(std::filesystem::u8path(path_), std::ios::binary | std::ios::trunc);
        stream_ = std::make_unique<WavStream>(file_);
    }
    if (!stream_->Append(samples)) {
        Fail();
    }
}

void WavFile::Fail() {
    file_.close();
    // What was written of the piece that did not fit would only be in the way.
    std::error_code error;
    std::filesystem::resize_file(std::filesystem::u8path(path_), stream_->GetSizeBytes(), error);
    throw HostError(ExitCode_t::NotWritten,
                    "'" + path_ +
                        "' cannot be written any further (is the disk full?); what it holds until "
                        "then can be played.");
}

} // namespace AudioHost
