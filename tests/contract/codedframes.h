#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "support/module/builders.h"

namespace ContractTest {

/// 20 ms of G.711, 160 samples of 8000 Hz.
inline std::shared_ptr<Media::FrameAud> TelephoneFrame(std::int64_t timestampNanoSec) {
    return UnitTest::CodedFrame(Media::MediaCoding_t::G711, timestampNanoSec,
                                std::vector<std::uint8_t>(160, 0x80), 8000);
}

/// 1024 samples of silence at 48000 Hz. Seven bytes say so: sync, no checksum; low complexity (01), 48000 Hz
/// (0011), one channel (001), 11 bytes in all, buffer fullness of a varying rate. Then, bit by bit: a single
/// channel element (000) with tag 0000 and gain 00000000, of an only-long window (0 00 0) without bands
/// (000000), prediction (0), pulses (0), noise shaping (0) or gain control (0), and the end (111): 29 bits 0,
/// 3 bits 1.
inline std::shared_ptr<Media::FrameAud> AacFrame(std::int64_t timestampNanoSec) {
    return UnitTest::CodedFrame(Media::MediaCoding_t::Aac, timestampNanoSec,
                                {0xFF, 0xF1, 0x4C, 0x40, 0x01, 0x7F, 0xFC, 0x00, 0x00, 0x00, 0x07});
}

} // namespace ContractTest
