#include "frames.h"
#include "playbacktest.h"

namespace SystemTest {
namespace {

class RendererAudio_Frames : public PlaybackTest {};

TEST_F(RendererAudio_Frames, RawOnesAreHeardCompleteInOrderAndAtTheirLevel) {
    // Longer than the ring, so that every place of it is used and its end passed.
    ExpectDelivered(SamplesOf(8000), TestSupport::WideBand, MakeRawStream);
}

TEST_F(RendererAudio_Frames, OfG711At8000HzAreHeardAsTheyWereSent) {
    ExpectDelivered(SamplesOf(4000), TestSupport::TelephoneBand, MakeG711Stream);
}

TEST_F(RendererAudio_Frames, OfAacAt48000HzAreHeardAsTheyWereSent) {
    // 6 s: longer than the ring, whose length is no whole number of such frames, so that one lies across its
    // end.
    ExpectDelivered(281 * AacFrameSamples, TestSupport::WideBand, MakeAacStream);
}

} // namespace
} // namespace SystemTest
