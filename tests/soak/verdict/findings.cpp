#include "verdict/findings.h"

#include <algorithm>

#include "listening/soundlevel.h"
#include "listening/stats.h"

namespace Soak {

namespace {

using TestSupport::FindToneFaults;
using TestSupport::IsDisturbed;
using TestSupport::ToneMeasure;

/// What a start 40 ms off takes to be corrected; half the run when that is shorter.
constexpr std::int64_t SettlingSamples = 60 * Listening::SoundRateHz;

/// The tones are judged from so long after the first frame's time, when the sessions' beginnings, which are
/// not heard, lie behind, until so long before the last frame's.
constexpr std::int64_t JudgedFromMilliSec = 1500;
constexpr std::int64_t JudgedMarginMilliSec = 200;

/// What the module does is heard from so long before the moment at which it does it (the recording's clock is
/// known that well) to so long after that moment and the usual delay: the output's queue is not always as
/// long, and a delay is partly the session's own until drift control has made it good.
constexpr std::int64_t HeardEarlierMilliSec = 40;
constexpr std::int64_t HeardLaterMilliSec = 400;

std::int64_t UsualDelay(std::vector<HeardBurst> const& bursts) {
    std::vector<double> delays;
    for (HeardBurst const& burst : bursts) {
        delays.push_back(static_cast<double>(burst.delaySamples));
    }
    return static_cast<std::int64_t>(Listening::Median(std::move(delays)));
}

/// Where the events of a kind are heard.
std::vector<Disturbance> PlaceEvents(RunRecord const& record, SessionEvent::Kind_t kind, std::int64_t delay) {
    std::vector<Disturbance> places;
    for (SessionEvent const& event : record.events) {
        if (event.kind == kind) {
            std::int64_t const milliSec =
                event.time.GetDiffSysTime(record.originTime).NanoSec() / Listening::NanoSecPerMilliSec;
            std::int64_t const at = record.originSample + Listening::MilliSecToSamples(milliSec);
            places.push_back({event.session, at - Listening::MilliSecToSamples(HeardEarlierMilliSec),
                              at + delay + Listening::MilliSecToSamples(HeardLaterMilliSec)});
        }
    }
    return places;
}

/// Also counts the blocks in `findings`.
std::vector<ToneFault> MeasureFaults(SoundPlan const& plan, RunRecord const& record,
                                     Listening::SampleView heard, std::int64_t delay, Findings& findings) {
    std::int64_t const margin = Listening::MilliSecToSamples(JudgedMarginMilliSec);
    std::int64_t const begin = record.originSample + delay;
    std::int64_t const first = (begin + Listening::MilliSecToSamples(JudgedFromMilliSec)) / FrameSamples;
    std::int64_t const last = (begin + record.frames * FrameSamples - margin) / FrameSamples;
    std::vector<ToneFault> faults;
    for (std::size_t session = 0; session < plan.GetSessions(); ++session) {
        std::vector<ToneMeasure> const tone = TestSupport::MeasureTone(heard, plan.GetToneHz(session));
        std::vector<ToneFault> const own =
            FindToneFaults(session, tone, plan.GetToneHz(session), first, last);
        faults.insert(faults.end(), own.begin(), own.end());
        findings.blocksMeasured += std::max<std::int64_t>(0, last - first);
    }
    return faults;
}

/// Takes those out of `faults` that lie at none of the `moves`.
std::vector<ToneFault> TakeUnmoved(std::vector<ToneFault>& faults, std::vector<Disturbance> const& moves) {
    auto const unmoved =
        std::stable_partition(faults.begin(), faults.end(), [&moves](ToneFault const& fault) {
            std::int64_t const first = fault.firstBlock * FrameSamples;
            return IsDisturbed(moves, fault.session, first, first + fault.blocks * FrameSamples);
        });
    std::vector<ToneFault> taken(unmoved, faults.end());
    faults.erase(unmoved, faults.end());
    return taken;
}

} // namespace

Findings Analyse(SoundPlan const& plan, RunRecord const& record, Listening::SampleView heard) {
    Findings findings;
    HeardBursts const heardBursts =
        TrackBursts(plan, heard, record.beginSample, record.originSample, record.frames);
    std::int64_t const delay = UsualDelay(heardBursts.bursts);
    std::vector<Disturbance> const moves = PlaceEvents(record, SessionEvent::Kind_t::Cursor, delay);
    std::vector<Disturbance> disturbances = moves;
    std::vector<Disturbance> const late = PlaceEvents(record, SessionEvent::Kind_t::LateFrame, delay);
    disturbances.insert(disturbances.end(), late.begin(), late.end());
    findings.faults =
        TestSupport::SortFaults(MeasureFaults(plan, record, heard, delay, findings), plan.GetSessions(),
                                PlaceEvents(record, SessionEvent::Kind_t::Frequency, delay), disturbances);
    findings.faultsAtLateFrames = TakeUnmoved(findings.faults.atCursorMoves, moves);
    for (ToneFault const& fault : findings.faults.common) {
        disturbances.push_back(TestSupport::PlaceCommon(fault));
    }
    std::int64_t const run = record.frames * FrameSamples;
    std::int64_t const begin = record.originSample + delay;
    findings.calmShare = TestSupport::CalmShare(disturbances, begin, begin + run);
    findings.bursts = JudgeBursts(heardBursts.bursts, plan.GetPeriodFrames() * FrameSamples,
                                  record.originSample + std::min(SettlingSamples, run / 2), disturbances);
    for (StraySound const& stray : heardBursts.strays) {
        bool const isDisturbed =
            IsDisturbed(disturbances, stray.session, stray.startSample, stray.startSample + stray.samples);
        (isDisturbed ? findings.disturbedStrays : findings.strays).push_back(stray);
    }

    Listening::SampleView const silence =
        heard.Cut(record.silenceSample, record.endSample - record.silenceSample);
    findings.silencePeakLsb = Listening::Peak(silence);
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(silence.GetSize()); at += FrameSamples) {
        findings.soundingBlocks += Listening::Peak(silence.Cut(at, FrameSamples)) > SilencePeakLsb ? 1 : 0;
    }
    return findings;
}

} // namespace Soak
