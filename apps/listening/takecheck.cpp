#include "listening/takecheck.h"

#include <algorithm>
#include <cstdlib>
#include <deque>

#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// So many samples in a row, loud enough not to be like others by chance, say that a lag is right.
constexpr std::int64_t AgreeSamples = 96;
constexpr int AgreePeakLsb = 8;
/// Windows before and behind the one at hand whose lags are tried.
constexpr std::int64_t NeighbourWindows = 2;
/// What may be missing in a take: a twentieth and a second.
constexpr std::int64_t MissingShare = 20;
constexpr LagRange NearStart = {-CompareSearchSamples, CompareSearchSamples};

/// `count` samples of `sound`, repeated, from `start` on.
Samples Repeat(SampleView sound, std::int64_t start, std::int64_t count) {
    Samples repeated;
    repeated.reserve(static_cast<std::size_t>(count));
    auto at = static_cast<std::size_t>(start);
    for (std::int64_t i = 0; i < count; ++i, ++at) {
        repeated.push_back(sound[at % sound.GetSize()]);
    }
    return repeated;
}

/// Where in `repeated` the take starts, by its first sound: sound that is missing later on moves what
/// follows. The other way round than sound is looked for in what a loudspeaker gives: here the take is
/// the part, and the sound is there before and after it.
std::optional<std::int64_t> FindStart(SampleView take, SampleView repeated) {
    auto const size = static_cast<std::int64_t>(take.GetSize());
    std::optional<std::int64_t> place;
    for (std::int64_t length = SoundRateHz; !place; length *= 2) {
        place = FindLag(take.Cut(0, length), repeated);
        if (length >= size) {
            break;
        }
    }
    return place;
}

/// One walk through a take.
class Walk {
public:
    Walk(SampleView sent, SampleView take, std::vector<WindowMatch> const& windows)
        : sent_(sent), take_(take), windows_(windows) {}

    ExactMatch Run() {
        auto const first = std::find_if(windows_.begin(), windows_.end(),
                                        [](WindowMatch const& window) { return window.IsMatch(); });
        if (first == windows_.end()) {
            return {};
        }
        lag_ = first->lag;
        for (std::int64_t at = 0; at < static_cast<std::int64_t>(take_.GetSize()); ++at) {
            Step(at);
        }
        return result_;
    }

private:
    void Step(std::int64_t at) {
        if (!HasSent(at, lag_)) {
            return;
        }
        std::optional<std::int64_t> const lag = IsEqual(at, lag_) ? std::nullopt : FindOtherLag(at);
        if (lag) {
            Jump(at, *lag);
        }
        if (IsEqual(at, lag_)) {
            ++result_.identical;
            return;
        }
        ++result_.changed;
        changedAt_.push_back(at);
        if (changedAt_.size() > static_cast<std::size_t>(CompareSearchSamples)) {
            changedAt_.pop_front();
        }
    }

    void Jump(std::int64_t at, std::int64_t lag) {
        TimelineJump jump;
        jump.samples = std::llabs(lag - lag_);
        jump.sentSample = at - lag_;
        if (lag < lag_) {
            result_.missing += jump.samples;
        } else {
            Insert(at, jump);
        }
        changedAt_.clear();
        result_.jumps.push_back(jump);
        lag_ = lag;
    }

    /// What differs just before `at` was put in there, and is in no other sample's place; some of it may be
    /// like what was sent by chance. If nothing differs, it is the sound before that came twice.
    void Insert(std::int64_t at, TimelineJump& jump) {
        auto const isWithin = [&](std::int64_t place) { return place >= at - jump.samples; };
        std::int64_t const changed = std::count_if(changedAt_.begin(), changedAt_.end(), isWithin);
        if (changed > 0) {
            jump.kind = TimelineJump::Kind_t::SilenceInserted;
            jump.sentSample -= jump.samples;
        } else {
            jump.kind = TimelineJump::Kind_t::Repeated;
        }
        result_.inserted += jump.samples;
        result_.changed -= changed;
        result_.identical -= jump.samples - changed;
    }

    std::optional<std::int64_t> FindOtherLag(std::int64_t at) const {
        std::int64_t const here = (at - lag_) / CompareWindowSamples;
        for (std::int64_t i = here - NeighbourWindows; i <= here + NeighbourWindows; ++i) {
            if (i >= 0 && i < static_cast<std::int64_t>(windows_.size())) {
                WindowMatch const& window = windows_[static_cast<std::size_t>(i)];
                if (window.IsMatch() && window.lag != lag_ && Agrees(at, window.lag)) {
                    return window.lag;
                }
            }
        }
        return std::nullopt;
    }

    bool Agrees(std::int64_t at, std::int64_t lag) const {
        SampleView const take = take_.Cut(at, AgreeSamples);
        SampleView const sent = sent_.Cut(at - lag, AgreeSamples);
        return take.GetSize() == static_cast<std::size_t>(AgreeSamples) && sent.GetSize() == take.GetSize() &&
               std::equal(take.begin(), take.end(), sent.begin()) && Peak(take) > AgreePeakLsb;
    }

    bool HasSent(std::int64_t at, std::int64_t lag) const {
        return at - lag >= 0 && at - lag < static_cast<std::int64_t>(sent_.GetSize());
    }
    bool IsEqual(std::int64_t at, std::int64_t lag) const {
        return take_[static_cast<std::size_t>(at)] == sent_[static_cast<std::size_t>(at - lag)];
    }

    SampleView const sent_;
    SampleView const take_;
    std::vector<WindowMatch> const& windows_;
    std::int64_t lag_ = 0;
    /// As many as one jump can reach back over.
    std::deque<std::int64_t> changedAt_;
    ExactMatch result_;
};

} // namespace

ExactMatch MatchExactly(SampleView sent, SampleView take, std::vector<WindowMatch> const& windows) {
    return Walk(sent, take, windows).Run();
}

TakeCheck CheckTake(SampleView sound, SampleView take) {
    TakeCheck check;
    auto const size = static_cast<std::int64_t>(take.GetSize());
    check.periodSamples = static_cast<std::int64_t>(sound.GetSize());
    std::optional<std::int64_t> const place = FindStart(take, Repeat(sound, 0, check.periodSamples + size));
    if (place) {
        check.startSample = (*place % check.periodSamples + check.periodSamples) % check.periodSamples;
        check.sent = Repeat(sound, check.startSample, size + size / MissingShare + SoundRateHz);
    }
    check.comparison = CompareSounds(check.sent, take, NearStart);
    check.exact = MatchExactly(check.sent, take, check.comparison.windows);
    return check;
}

} // namespace Listening
