#include "live/streamcourse.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace AudioHost {

namespace {

using News_t = StreamNews::Kind_t;

StreamNews NewsOf(News_t kind, std::string text = {}) {
    StreamNews news;
    news.kind = kind;
    news.text = std::move(text);
    return news;
}

/// Gives what is read ahead of its time the time at which it sounds.
class Pace {
public:
    explicit Pace(StreamFormat const& format) : format_(format) {}

    /// How long to wait before the packet counts as arrived.
    std::int64_t AheadNanoSec(LivePacket const& packet) {
        if (!format_.isAhead) {
            return 0;
        }
        std::int64_t const now = packet.arrival.NanoSec();
        // A server may stamp anything.
        std::int64_t const due = av_sat_add64(due_, SpanNanoSec(packet.ticks));
        std::int64_t const ahead = hasBegun_ ? av_sat_sub64(due, now) : 0;
        if (!hasBegun_ || ahead > MaxAheadNanoSec || ahead < -MaxAheadNanoSec) {
            hasBegun_ = true;
            ticks_ = packet.ticks;
            due_ = now;
            return 0;
        }
        return std::max<std::int64_t>(0, ahead);
    }

private:
    std::int64_t SpanNanoSec(std::uint64_t ticks) const {
        return av_rescale(static_cast<std::int64_t>(ticks - ticks_), Kovra::NanoSecPerSec,
                          format_.ticksPerSec);
    }

    StreamFormat const& format_;
    bool hasBegun_ = false;
    std::uint64_t ticks_ = 0;
    std::int64_t due_ = 0;
};

enum class Course_t { GoesOn, Over };

void TellOpened(StreamFormat const& format, std::function<void(StreamNews)> const& tell) {
    StreamNews opened = NewsOf(News_t::Opened);
    opened.format = format;
    tell(std::move(opened));
}

/// What came of a stream that was open.
struct Reading {
    Course_t course = Course_t::Over;
    /// It held for a while: whatever comes now is another break.
    bool wasBack = false;
};

/// Reads a stream that is open until it ends or breaks. One that was open before is so again with its first
/// packet: where nobody is asked, as with RTP by a description, opening it says nothing.
Reading ReadAll(StreamConnection& connection, bool isFirst, std::function<bool(std::int64_t)> const& wait,
                std::function<void(StreamNews)> const& tell) {
    StreamFormat const format = connection.GetFormat();
    if (isFirst) {
        TellOpened(format, tell);
    }
    Pace pace(format);
    std::optional<Kovra::JiffyTime> first;
    for (;;) {
        StreamNews news = NewsOf(News_t::Packet);
        StreamConnection::Result_t const result = connection.Read(news.packet, news.text);
        if (result == StreamConnection::Result_t::Ended) {
            tell(NewsOf(News_t::Over));
            return {};
        }
        if (result != StreamConnection::Result_t::Packet) {
            StreamNews broke = NewsOf(format.isFinite ? News_t::Over : News_t::Broke, news.text);
            if (format.isFinite) {
                // From its beginning again is not what was asked for.
                broke.error = HostError(ExitCode_t::NoStream, "the stream broke off: " + news.text + ".");
            }
            tell(std::move(broke));
            return {format.isFinite ? Course_t::Over : Course_t::GoesOn,
                    first && Kovra::JiffyTime::Now().GetDiffSysTime(*first).NanoSec() >= BackNanoSec};
        }
        if (!first && !isFirst) {
            TellOpened(format, tell);
        }
        std::int64_t const ahead = pace.AheadNanoSec(news.packet);
        if (!wait(ahead)) {
            tell(NewsOf(News_t::Over));
            return {};
        }
        if (ahead > 0) {
            news.packet.arrival = Kovra::JiffyTime::Now();
        }
        first = first.value_or(news.packet.arrival);
        tell(std::move(news));
    }
}

} // namespace

void FollowStream(std::function<std::unique_ptr<StreamConnection>()> const& connect,
                  std::function<bool(std::int64_t)> const& wait,
                  std::function<void(StreamNews)> const& tell) {
    bool hasOpened = false;
    std::int64_t pause = FirstPauseNanoSec;
    Kovra::JiffyTime broke = Kovra::JiffyTime::Now();
    for (;;) {
        Reading reading;
        try {
            std::unique_ptr<StreamConnection> const connection = connect();
            bool const isFirst = !std::exchange(hasOpened, true);
            reading = ReadAll(*connection, isFirst, wait, tell);
            if (reading.course == Course_t::Over) {
                return;
            }
        } catch (HostError const& error) {
            StreamNews news = NewsOf(hasOpened ? News_t::Broke : News_t::Over, error.what());
            if (!hasOpened) {
                news.error = error;
                tell(std::move(news));
                return;
            }
            tell(std::move(news));
        }
        // Counted from here, not from the last packet: that a machine has slept since is no reason to give
        // up.
        Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
        if (reading.wasBack) {
            pause = FirstPauseNanoSec;
            broke = now;
        }
        if (now.GetDiffSysTime(broke).NanoSec() >= GiveUpNanoSec) {
            StreamNews news = NewsOf(News_t::Over);
            news.error = HostError(ExitCode_t::NoStream, "the stream broke and did not come back.");
            tell(std::move(news));
            return;
        }
        if (!wait(pause)) {
            tell(NewsOf(News_t::Over));
            return;
        }
        pause = std::min(2 * pause, LongestPauseNanoSec);
    }
}

} // namespace AudioHost
