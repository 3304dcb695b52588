#include <gtest/gtest.h>

#include "frames.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "support/recording/noise.h"

namespace SystemTest {
namespace {

TEST(RendererAudio_Shutdown, MayComeBeforeTheEndOfSessionsThatPlay) {
    Media::RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    Media::Pipeline pipeline(renderer, 1);
    auto const session = pipeline.OpenSession({});
    ASSERT_NE(session, Media::Pipeline::InvalidSession);
    auto const submit = [&] {
        for (StreamFrame const& next : MakeRawStream(TestSupport::MakeNoise(1, 4800))) {
            pipeline.Submit(session, next.frame, Kovra::JiffyTime::Now().AddMilliSec(100));
        }
        pipeline.Drain();
    };
    submit();
    renderer.Shutdown();
    // A frame that comes late, and the session's end.
    submit();
    pipeline.CloseSession(session);
    pipeline.Drain();
}

} // namespace
} // namespace SystemTest
