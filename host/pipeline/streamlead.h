#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Media {

/// The lead of a stream: as asked for, or as the delays that frames have beyond the earliest need it.
///
/// **Threads:** one at a time. **Units:** nanoseconds.
class StreamLead {
public:
    StreamLead(std::int64_t leadNanoSec, bool isAdapted, std::int64_t maxNanoSec);

    std::int64_t NanoSec() const { return static_cast<std::int64_t>(leadNanoSec_); }

    /// A frame arrived, `spread` being what the delays differ by; with `isSettled` all that is usual has been
    /// seen. Moves the lead so slowly that the playback frequency follows, or at once after a pause: nothing
    /// is heard then.
    void Follow(std::int64_t spreadNanoSec, bool isSettled, std::int64_t arrivalNanoSec);

    /// A frame came too late. With three within ten seconds the sound is broken anyway: the lead is raised at
    /// once, by as much as the answer says.
    std::int64_t Raise(std::int64_t delayNanoSec, std::int64_t arrivalNanoSec);

private:
    struct Late {
        std::int64_t arrivalNanoSec = 0;
        std::int64_t delayNanoSec = 0;
    };

    static constexpr std::size_t FramesToRaise = 3;

    double Wanted(std::int64_t spreadNanoSec) const;

    bool const isAdapted_;
    double const maxNanoSec_;
    double leadNanoSec_;
    std::int64_t lastArrivalNanoSec_ = INT64_MIN;
    /// The latest frames that came too late, in the order of arrival.
    std::array<Late, FramesToRaise> late_{};
    std::size_t lateCount_ = 0;
};

} // namespace Media
