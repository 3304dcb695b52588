#include "files/mediainput.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

constexpr std::size_t PieceBytes = 65'536;

/// How far the library has read in bytes that are there already.
struct Reader {
    std::shared_ptr<std::string const> bytes;
    std::size_t position = 0;
};

int Read(void* opaque, std::uint8_t* target, int size) {
    auto& reader = *static_cast<Reader*>(opaque);
    std::size_t const count =
        std::min(static_cast<std::size_t>(size), reader.bytes->size() - reader.position);
    if (count == 0) {
        return AVERROR_EOF;
    }
    std::memcpy(target, reader.bytes->data() + reader.position, count);
    reader.position += count;
    return static_cast<int>(count);
}

std::int64_t Seek(void* opaque, std::int64_t offset, int whence) {
    auto& reader = *static_cast<Reader*>(opaque);
    auto const size = static_cast<std::int64_t>(reader.bytes->size());
    if ((whence & AVSEEK_SIZE) != 0) {
        return size;
    }
    // The library asks for places from the beginning only.
    if (whence != SEEK_SET || offset < 0 || offset > size) {
        return AVERROR(EINVAL);
    }
    reader.position = static_cast<std::size_t>(offset);
    return offset;
}

/// Ends with the context that reads by it.
AVIOContext* OpenReader(std::shared_ptr<std::string const> bytes) {
    auto reader = std::make_unique<Reader>(Reader{std::move(bytes)});
    auto* const buffer = static_cast<unsigned char*>(av_malloc(PieceBytes));
    AVIOContext* const io =
        buffer ? avio_alloc_context(buffer, PieceBytes, 0, reader.get(), Read, nullptr, Seek) : nullptr;
    if (!io) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    reader.release();
    return io;
}

void CloseReader(AVIOContext* io) {
    delete static_cast<Reader*>(io->opaque);
    av_freep(&io->buffer);
    avio_context_free(&io);
}

} // namespace

void FfmpegDeleter::operator()(AVFormatContext* context) const {
    bool const isOurs = (context->flags & AVFMT_FLAG_CUSTOM_IO) != 0;
    AVIOContext* const io = isOurs ? context->pb : nullptr;
    avformat_close_input(&context);
    if (io) {
        CloseReader(io);
    }
}

MediaInput ReadToEnd(std::istream& in, std::size_t maxBytes) {
    auto bytes = std::make_shared<std::string>();
    std::vector<char> piece(PieceBytes);
    while (in.read(piece.data(), static_cast<std::streamsize>(piece.size())) || in.gcount() > 0) {
        bytes->append(piece.data(), static_cast<std::size_t>(in.gcount()));
        if (bytes->size() > maxBytes) {
            throw HostError(ExitCode_t::NotAudio, "standard input is too long to be held in memory.");
        }
    }
    if (bytes->empty()) {
        throw HostError(ExitCode_t::NotAudio, "standard input is empty.");
    }
    MediaInput input("standard input");
    input.bytes = std::move(bytes);
    return input;
}

FormatPointer OpenFormat(MediaInput const& input, char const* containers) {
    AVFormatContext* context = avformat_alloc_context();
    if (!context) {
        throw std::bad_alloc();
    }
    AVIOContext* io = nullptr;
    if (input.bytes) {
        FormatPointer guard(context);
        io = OpenReader(input.bytes);
        guard.release();
        context->pb = io;
    }
    AVDictionary* settings = nullptr;
    av_dict_set(&settings, "format_whitelist", containers, 0);
    // "file:" keeps a name such as "a:b.wav" from being read as a protocol. Where it fails, it frees the
    // context.
    int const status = avformat_open_input(&context, input.bytes ? nullptr : ("file:" + input.path).c_str(),
                                           nullptr, &settings);
    av_dict_free(&settings);
    if (status < 0) {
        if (io) {
            CloseReader(io);
        }
        return nullptr;
    }
    FormatPointer format(context);
    return avformat_find_stream_info(format.get(), nullptr) < 0 ? nullptr : std::move(format);
}

} // namespace AudioHost
