#include "codedframesplitter.h"

#include <new>

namespace Media {

namespace {

/// A frame is meant to hold one coded frame; a few more are somebody's batch. Tiny valid frames by the
/// thousand would turn one input of 1 MiB into hundreds of MiB of PCM.
constexpr std::size_t MaxCodedFramesPerInput = 64;

constexpr std::size_t SyncWordBytes = 2;

/// ADTS: twelve ones, the version bit, then two zero bits for the layer. MPEG audio: eleven ones, then the
/// version and a layer that is not zero (zero is ADTS).
constexpr bool IsSyncWord(AVCodecID codec, std::uint8_t first, std::uint8_t second) {
    if (first != 0xFF) {
        return false;
    }
    return codec == AV_CODEC_ID_AAC ? (second & 0xF6) == 0xF0
                                    : (second & 0xE0) == 0xE0 && (second & 0x06) != 0;
}

static_assert(IsSyncWord(AV_CODEC_ID_AAC, 0xFF, 0xF1), "MPEG-4 ADTS without checksum");
static_assert(!IsSyncWord(AV_CODEC_ID_AAC, 0xFF, 0xFB), "layer III is not ADTS");
static_assert(IsSyncWord(AV_CODEC_ID_MP3, 0xFF, 0xFB), "MPEG-1 layer III");
static_assert(!IsSyncWord(AV_CODEC_ID_MP3, 0xFF, 0xF1), "ADTS is not MPEG audio");

} // namespace

std::vector<std::size_t> FindCodedFrames(AVCodecContext& context, std::uint8_t const* bytes,
                                         std::size_t byteCount) {
    // A parser of its own for every input: one that has seen a cut frame waits for the rest of it.
    ParserOwner const parser(av_parser_init(context.codec_id));
    if (!parser) {
        throw std::bad_alloc();
    }
    std::vector<std::size_t> lengths;
    while (byteCount >= SyncWordBytes && lengths.size() < MaxCodedFramesPerInput &&
           IsSyncWord(context.codec_id, bytes[0], bytes[1])) {
        std::uint8_t* found = nullptr;
        int foundBytes = 0;
        int const used = av_parser_parse2(parser.get(), &context, &found, &foundBytes, bytes,
                                          static_cast<int>(byteCount), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
        if (used <= 0 || foundBytes == 0) {
            break;
        }
        lengths.push_back(static_cast<std::size_t>(used));
        bytes += used;
        byteCount -= static_cast<std::size_t>(used);
    }
    return lengths;
}

} // namespace Media
