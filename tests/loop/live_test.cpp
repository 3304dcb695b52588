#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "controllaw.h"
#include "extent.h"
#include "network/virtualnetwork.h"
#include "pipeline/streamclock.h"
#include "playbackloop.h"
#include "simulation/testworld.h"

namespace ClosedLoop {
namespace {

using Media::StreamPlacement_t;
using Verdict_t = StreamPlacement_t::Verdict_t;

/// A sender behind a network, and the device that its stream is heard on.
struct Live {
    char severity;
    double senderPartsPerMillion;
    std::int64_t devicePartsPerMillion;
    bool isLeadAdapted = false;
};

std::string NameOf(double partsPerMillion) {
    return (partsPerMillion < 0 ? "Minus" : "") + std::to_string(static_cast<int>(std::abs(partsPerMillion)));
}

void PrintTo(Live const& live, std::ostream* out) {
    *out << live.severity << " Sender" << NameOf(live.senderPartsPerMillion) << "Device"
         << NameOf(static_cast<double>(live.devicePartsPerMillion));
}

/// All skews of the sender with `--all-cases`.
std::vector<Live> MakeLiveCases() {
    std::vector<Live> cases{{'A', 55.0, 300}, {'D', -55.0, -300}, {'F', 100.0, 300}};
    for (std::int64_t const device : {300, -300}) {
        for (double const sender : {78.0, 500.0, -500.0}) {
            cases.push_back({'C', sender, device});
        }
        if (Extent::Get().hasAllCases) {
            for (double const sender : {0.0, -78.0}) {
                cases.push_back({'C', sender, device});
            }
        }
    }
    return cases;
}

/// What the recovered clock may be off by, for each millisecond of jitter: see docs/timing.md.
constexpr double ClockErrorPerJitter = 1.0 / 80.0;
/// A minute until the clock is settled.
constexpr std::int64_t ClockSettlingNanoSec = 64 * NanoSecPerSec;

/// Frames that have been sent and are not heard yet, at most.
constexpr std::int64_t OnTheWay = 10;

/// The whole chain: network, stream clock, session, device.
class LiveChain {
public:
    LiveChain(Network::Severity const& severity, Live const& live, Media::StreamClockSettings_t settings)
        : latestNanoSec_(std::llround(severity.jitterMilliSec * (1.0 + ClockErrorPerJitter) * 1e6)),
          settings_(settings),
          clock_(MakeSettings(settings)),
          sender_(MakeSender(live, world_)),
          network_(severity, sender_, 11) {
        first_ = network_.Next();
        nextNumber_ = first_.number;
        StreamPlacement_t const placement = Place(first_);
        Conditions conditions;
        conditions.skewPartsPerMillion = live.devicePartsPerMillion;
        conditions.originNanoSec = placement.timestamp.NanoSec();
        loop_ = std::make_unique<PlaybackLoop>(
            world_, conditions,
            [this](std::int64_t number, std::int64_t, std::int64_t heard) { Hear(number, heard); });
        Play(first_, placement);
    }

    Network::VirtualNetwork& Net() { return network_; }
    PlaybackLoop& Loop() { return *loop_; }
    Media::StreamClock const& Clock() const { return clock_; }
    std::int64_t StartNanoSec() const { return sender_.startNanoSec; }

    /// Errors count from here on: heard minus when the frame was sent, plus the way without jitter, plus the
    /// lead.
    void JudgeFrom(std::int64_t nanoSec) { judgeFromNanoSec_ = nanoSec; }

    void PlayUntil(std::int64_t nanoSec) {
        while (loop_->NowNanoSec() < nanoSec) {
            Network::Packet const packet = network_.Next();
            HandInBefore(packet.arrivalNanoSec);
            Play(packet, Place(packet));
        }
    }

    std::int64_t EarliestNanoSec() const { return earliest_; }
    std::int64_t LatestNanoSec() const { return latest_; }
    std::int64_t PlayedCount() const { return played_; }
    std::int64_t TooLateCount() const { return tooLate_; }
    std::int64_t PlacedCount() const { return placed_; }

private:
    struct Waiting {
        StreamPlacement_t placement;
        std::int64_t leadNanoSec = 0;
    };

    static Media::StreamClockSettings_t MakeSettings(Media::StreamClockSettings_t settings) {
        settings.ticksPerSec = Network::Sender().ticksPerSec;
        return settings;
    }

    static Network::Sender MakeSender(Live const& live, Simulation::World& world) {
        Network::Sender sender;
        sender.skewPartsPerMillion = live.senderPartsPerMillion;
        sender.startNanoSec = world.Clock().MonotonicNanoSec() + NanoSecPerSec;
        return sender;
    }

    StreamPlacement_t Place(Network::Packet const& packet) {
        ++placed_;
        return clock_.Place(packet.ticks, Kovra::JiffyTime(packet.arrivalNanoSec));
    }

    void Play(Network::Packet const& packet, StreamPlacement_t const& placement) {
        if (placement.verdict != Verdict_t::Play || packet.number < nextNumber_) {
            // The stream begins with the frame that came first; those that it overtook are none of it.
            tooLate_ += packet.number > first_.number ? 1 : 0;
        } else {
            waiting_[packet.number] = {placement, clock_.GetFigures().leadNanoSec};
        }
        HandInNext(packet.arrivalNanoSec);
    }

    /// In their order, as a demuxer does: a frame waits until those before it cannot come any more.
    void HandInBefore(std::int64_t arrivalNanoSec) {
        while (!waiting_.empty()) {
            Waiting const& frame = waiting_.begin()->second;
            std::int64_t const dueNanoSec = frame.placement.due.NanoSec();
            std::int64_t const enoughNanoSec = dueNanoSec - frame.leadNanoSec + latestNanoSec_ - FrameNanoSec;
            if (enoughNanoSec >= arrivalNanoSec) {
                return;
            }
            nextNumber_ = waiting_.begin()->first;
            HandInNext(std::max(enoughNanoSec, loop_->NowNanoSec()));
        }
    }

    /// Those for which nothing has to be waited.
    void HandInNext(std::int64_t nowNanoSec) {
        while (!waiting_.empty() && waiting_.begin()->first == nextNumber_) {
            StreamPlacement_t const& placement = waiting_.begin()->second.placement;
            loop_->PlayArrived(nextNumber_, nowNanoSec, placement.timestamp.NanoSec(),
                               placement.due.NanoSec());
            ++played_;
            ++nextNumber_;
            waiting_.erase(waiting_.begin());
        }
    }

    void Hear(std::int64_t number, std::int64_t heardNanoSec) {
        if (heardNanoSec < judgeFromNanoSec_) {
            return;
        }
        std::int64_t const sent = network_.SentNanoSec(number);
        std::int64_t const error = heardNanoSec - (sent + network_.DelayAt(sent) + settings_.leadNanoSec);
        earliest_ = std::min(earliest_, error);
        latest_ = std::max(latest_, error);
    }

    Simulation::TestWorld world_;
    /// A frame comes so long after the recovered clock has it come at the earliest, at most.
    std::int64_t const latestNanoSec_;
    Media::StreamClockSettings_t const settings_;
    Media::StreamClock clock_;
    Network::Sender const sender_;
    Network::VirtualNetwork network_;
    Network::Packet first_;
    std::unique_ptr<PlaybackLoop> loop_;
    std::int64_t judgeFromNanoSec_ = INT64_MAX;
    std::int64_t earliest_ = INT64_MAX;
    std::int64_t latest_ = INT64_MIN;
    std::int64_t placed_ = 0;
    std::int64_t played_ = 0;
    std::int64_t tooLate_ = 0;
    std::int64_t nextNumber_ = 0;
    std::map<std::int64_t, Waiting> waiting_;
};

/// The sender's skew counts like one of the device.
std::int64_t TotalSkew(Live const& live) {
    return live.devicePartsPerMillion - static_cast<std::int64_t>(live.senderPartsPerMillion);
}

class ClosedLoop_Live : public ::testing::TestWithParam<Live> {};

TEST_P(ClosedLoop_Live, HoldsTheSendersTimeForHours) {
    Live const& live = GetParam();
    Network::Severity const severity = Network::OnOneRoute(Network::SeverityOf(live.severity));
    Media::StreamClockSettings_t settings;
    settings.leadNanoSec = 150 * NanoSecPerMilliSec;
    LiveChain chain(severity, live, settings);
    std::int64_t const startErrorNanoSec = std::llround(severity.jitterMilliSec * 1e6);
    std::int64_t const settledNanoSec = chain.StartNanoSec() + ClockSettlingNanoSec +
                                        ControlLaw::SettlingNanoSec(startErrorNanoSec, 0, TotalSkew(live));
    chain.JudgeFrom(settledNanoSec);
    chain.PlayUntil(settledNanoSec + Extent::Get().settledNanoSec);
    HeardFrames const& heard = chain.Loop().Heard();
    auto const clockErrorNanoSec = std::llround(severity.jitterMilliSec * ClockErrorPerJitter * 1e6);
    std::int64_t const boundNanoSec = ControlLaw::LateBoundNanoSec(settings.leadNanoSec) + clockErrorNanoSec;
    EXPECT_LE(chain.EarliestNanoSec(), chain.LatestNanoSec()) << "nothing was judged";
    EXPECT_GE(chain.EarliestNanoSec(), -boundNanoSec);
    EXPECT_LE(chain.LatestNanoSec(), boundNanoSec);
    // Lost is what the network lost; the first two frames, and those still on their way.
    EXPECT_EQ(chain.TooLateCount(), 0);
    EXPECT_GE(chain.PlayedCount(), chain.PlacedCount() - OnTheWay);
    EXPECT_GE(heard.FrameCount(), chain.PlayedCount() - OnTheWay - 2);
    EXPECT_EQ(heard.StaleCount(), 0);
    EXPECT_LE(heard.SilenceCount(), chain.Net().LostCount() + 1);
}

INSTANTIATE_TEST_SUITE_P(Streams, ClosedLoop_Live, ::testing::ValuesIn(MakeLiveCases()),
                         [](auto const& info_) {
                             Live const& live = info_.param;
                             return std::string(1, live.severity) + "Sender" +
                                    NameOf(live.senderPartsPerMillion) + "Device" +
                                    NameOf(static_cast<double>(live.devicePartsPerMillion));
                         });

TEST(ClosedLoop_LiveRoute, IsFollowedByThePlaybackFrequencyAlone) {
    for (std::int64_t const milliSec : {30, -30}) {
        SCOPED_TRACE(milliSec);
        Live const live{'C', 100.0, 50};
        Media::StreamClockSettings_t settings;
        settings.leadNanoSec = 150 * NanoSecPerMilliSec;
        LiveChain chain(Network::OnOneRoute(Network::SeverityOf('C')), live, settings);
        std::int64_t const changeNanoSec = chain.StartNanoSec() + 100 * NanoSecPerSec;
        chain.Net().SetDetour(changeNanoSec, milliSec * NanoSecPerMilliSec);
        chain.PlayUntil(changeNanoSec);
        std::int64_t const runs = chain.Loop().Heard().RunCount();
        std::int64_t const frequencies = chain.Loop().FrequencyChanges();
        chain.JudgeFrom(changeNanoSec + 60 * NanoSecPerSec);
        chain.PlayUntil(changeNanoSec + 120 * NanoSecPerSec);
        HeardFrames const& heard = chain.Loop().Heard();
        EXPECT_EQ(chain.Clock().GetFigures().routeChanges, 1);
        // Every break in the sound is a change of the frequency; none is a jump.
        EXPECT_LE(heard.RunCount() - runs, chain.Loop().FrequencyChanges() - frequencies + 1);
        EXPECT_EQ(chain.TooLateCount(), 0);
        EXPECT_EQ(heard.StaleCount(), 0);
        EXPECT_LE(heard.SilenceCount(), chain.Net().LostCount() + 1);
        std::int64_t const boundNanoSec =
            ControlLaw::LateBoundNanoSec(settings.leadNanoSec) + NanoSecPerMilliSec;
        EXPECT_LE(chain.EarliestNanoSec(), chain.LatestNanoSec()) << "nothing was judged";
        EXPECT_GE(chain.EarliestNanoSec(), -boundNanoSec);
        EXPECT_LE(chain.LatestNanoSec(), boundNanoSec);
    }
}

TEST(ClosedLoop_LiveLead, AdaptedToTheJitterBreaksNothing) {
    for (char const severity : {'A', 'D'}) {
        SCOPED_TRACE(severity);
        Live const live{severity, 55.0, -50};
        Media::StreamClockSettings_t settings;
        settings.isLeadAdapted = true;
        LiveChain chain(Network::SeverityOf(severity), live, settings);
        chain.PlayUntil(chain.StartNanoSec() + 600 * NanoSecPerSec);
        HeardFrames const& heard = chain.Loop().Heard();
        EXPECT_LE(chain.TooLateCount() * 1'000, chain.PlacedCount());
        EXPECT_GE(chain.PlayedCount(), chain.PlacedCount() - chain.TooLateCount() - OnTheWay);
        EXPECT_GE(heard.FrameCount(), chain.PlayedCount() - OnTheWay - 2);
        EXPECT_EQ(heard.StaleCount(), 0);
        EXPECT_LE(heard.SilenceCount(), chain.Net().LostCount() + chain.TooLateCount() + 1);
        EXPECT_LE(heard.RunCount(), chain.Loop().FrequencyChanges() + 1);
        EXPECT_LE(chain.Clock().GetFigures().leadNanoSec, 80 * NanoSecPerMilliSec);
    }
}

} // namespace
} // namespace ClosedLoop
