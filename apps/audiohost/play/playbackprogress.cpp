#include "play/playbackprogress.h"

#include <algorithm>
#include <cmath>

#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// More than these are not listed one by one.
constexpr std::size_t MaxListed = 3;

std::string FrequencyText(std::uint32_t hz) {
    return hz == 0 ? "-" : std::to_string(hz);
}

std::string ErrorsText(std::vector<PlaybackLogKeeper::Progress> const& sessions) {
    if (sessions.size() > MaxListed) {
        auto const worst =
            std::max_element(sessions.begin(), sessions.end(), [](auto const& a, auto const& b) {
                return std::fabs(a.errorMilliSec) < std::fabs(b.errorMilliSec);
            });
        return FormatSigned(worst->errorMilliSec, 1) + " ms at worst";
    }
    std::string text;
    for (PlaybackLogKeeper::Progress const& session : sessions) {
        text += (text.empty() ? "" : "/") + FormatSigned(session.errorMilliSec, 1);
    }
    return text + " ms";
}

std::string FrequenciesText(std::vector<PlaybackLogKeeper::Progress> const& sessions) {
    std::vector<std::string> texts;
    texts.reserve(sessions.size());
    for (PlaybackLogKeeper::Progress const& session : sessions) {
        texts.push_back(FrequencyText(session.hz));
    }
    bool const isOne = std::adjacent_find(texts.begin(), texts.end(), std::not_equal_to<>()) == texts.end();
    if (isOne) {
        return texts.front() + " Hz";
    }
    if (texts.size() > MaxListed) {
        return "several Hz";
    }
    std::string text;
    for (std::string const& one : texts) {
        text += (text.empty() ? "" : "/") + one;
    }
    return text + " Hz";
}

/// Of the stream that has lost most, or is broken.
std::string StreamsText(std::vector<PlaybackLogKeeper::Progress> const& sessions) {
    StreamState const* worst = nullptr;
    for (PlaybackLogKeeper::Progress const& session : sessions) {
        bool const isWorse =
            session.stream &&
            (!worst || session.stream->isBroken ||
             (!worst->isBroken && session.stream->GetLossPercent() > worst->GetLossPercent()));
        worst = isWorse ? &*session.stream : worst;
    }
    return worst ? "  " + FormatStream(*worst) : "";
}

} // namespace

std::vector<StreamRow> FormatStreams(std::vector<PlaybackLogKeeper::Progress> const& sessions) {
    std::vector<StreamRow> lines;
    for (PlaybackLogKeeper::Progress const& session : sessions) {
        if (session.stream) {
            lines.push_back({session.name, FormatStream(*session.stream)});
        }
    }
    return lines;
}

std::string FormatProgress(std::vector<PlaybackLogKeeper::Progress> const& sessions) {
    if (sessions.empty()) {
        return "";
    }
    std::int64_t sent = 0;
    std::int64_t duration = 0;
    std::uint64_t failed = 0;
    for (PlaybackLogKeeper::Progress const& session : sessions) {
        sent = std::max(sent, session.sentNanoSec);
        duration = std::max(duration, session.durationNanoSec);
        failed += session.jobsFailed;
    }
    std::string const total = duration > 0 ? " / " + FormatClock(duration) : "";
    bool const isAllLive = std::all_of(sessions.begin(), sessions.end(),
                                       [](auto const& session) { return session.stream.has_value(); });
    std::string text = FormatClock(sent) + total + "  error " + ErrorsText(sessions);
    if (!isAllLive) {
        text += "  " + FrequenciesText(sessions);
    }
    if (!isAllLive || failed > 0) {
        text += "  " + std::to_string(failed) + " failed";
    }
    return text + StreamsText(sessions);
}

} // namespace AudioHost
