#include "model/steps/generator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "support/facts.h"

namespace ModelTest {

namespace {

using Facts::NanoSecPerMilliSec;
using Facts::RingNanoSec;
using Facts::SampleNanoSec;

constexpr std::int64_t BlockNanoSec = 20 * NanoSecPerMilliSec;
constexpr std::int64_t CaptureRingBytes = 480'000;
constexpr std::int64_t Lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t Highest = std::numeric_limits<std::int64_t>::max();

/// Two choices never stand in one expression whose order the compiler may choose: a seed means the same to
/// all.
class Generator {
public:
    Generator(Choices& choices, std::size_t maxSteps) : choices_(choices), maxSteps_(maxSteps) {}

    Scenario Make() {
        ChooseCharacter();
        ChooseDevice();
        if (hasPlayback_ && choices_.OneIn(8)) {
            StartExactly();
        }
        while (!IsFull()) {
            if (hasCapture_ && choices_.OneIn(hasPlayback_ ? 3 : 1)) {
                TurnOfCapture();
            } else {
                TurnOfPlayback();
            }
        }
        return std::move(scenario_);
    }

private:
    bool IsFull() const { return scenario_.size() >= maxSteps_ || choices_.IsAtEnd(); }

    void Add(Step step) {
        if (scenario_.size() < maxSteps_) {
            scenario_.push_back(std::move(step));
        }
    }
    void Pass(std::int64_t nanoSec) { Add(Advance{std::max<std::int64_t>(nanoSec, 0)}); }

    // --- what sort of a scenario

    void ChooseCharacter() {
        hasCapture_ = choices_.OneIn(5);
        hasPlayback_ = !hasCapture_ || choices_.OneIn(3);
        faultsOneIn_ = choices_.OneOf<std::uint64_t>({0, 0, 0, 40, 10, 4});
        oddityOneIn_ = choices_.OneOf<std::uint64_t>({100, 20, 6, 2});
        // A coarse stream comes round the ring and through the windows of drift control in fewer steps.
        frameNanoSec_ = (hasCapture_ ? choices_.OneOf<std::int64_t>({10, 20, 40})
                                     : choices_.OneOf<std::int64_t>({10, 20, 20, 40, 100, 250, 500})) *
                        NanoSecPerMilliSec;
        jitterNanoSec_ =
            choices_.OneOf<std::int64_t>({0, 0, 1'000, 1 * NanoSecPerMilliSec, 8 * NanoSecPerMilliSec});
        leadNanoSec_ = choices_.OneOf<std::int64_t>({20 * NanoSecPerMilliSec, 100 * NanoSecPerMilliSec,
                                                     100 * NanoSecPerMilliSec, 200 * NanoSecPerMilliSec,
                                                     15000 * SampleNanoSec, 15001 * SampleNanoSec, 0});
        coding_ = choices_.OneOf<std::int64_t>({0x300, 0x300, 0x300, 0x301, 0x304, 0x302});
        rate_ = choices_.OneOf<std::int64_t>({48000, 48000, 48000, 8000, 44100});
        channels_ = choices_.OneIn(8) ? 2 : 1;
        timestamp_ = choices_.OneOf<std::int64_t>({7'000'000'000'123, 0, 1, 1'700'000'000'000'000'000});
    }

    void ChooseDevice() {
        if (choices_.OneIn(3)) {
            Add(Skew{choices_.Between(-3000, 3000)});
        }
        if (choices_.OneIn(4)) {
            std::int64_t const step = choices_.OneOf<std::int64_t>({48, 480, 1500, 15000});
            Add(CursorStep{step, choices_.Between(0, 1500)});
        }
        if (choices_.OneIn(8)) {
            Add(StartDelay{choices_.Between(0, 60 * NanoSecPerMilliSec)});
        }
        if (choices_.OneIn(6)) {
            Add(LockSplit{choices_.OneOf<std::int64_t>({1, 2, 3, 1000, 1919, 1920, 100'001})});
        }
        if (hasCapture_) {
            if (choices_.OneIn(3)) {
                Add(CaptureLockSplit{
                    2 * choices_.OneOf<std::int64_t>({1, 959, 960, 961, 1440, 1919, 2000, 2881})});
            }
            if (choices_.OneIn(4)) {
                std::int64_t const step = choices_.OneOf<std::int64_t>({100, 480, 960, 1500});
                Add(CaptureCursorStep{step, choices_.Between(0, 1500)});
            }
            if (choices_.OneIn(4)) {
                Add(CaptureSkew{choices_.Between(-3000, 3000)});
            }
            Add(CaptureStart{});
        }
    }

    // --- playback

    /// The cursor starts where the cleared part ends, and the next presentation comes about when as much has
    /// been played as is cleared at once, or as a cursor may be late.
    void StartExactly() {
        Add(PlainFrame().With(&Render::aheadNanoSec, 0));
        Pass(15'000 * SampleNanoSec + 5'000 + choices_.Between(-2, 2) * SampleNanoSec);
        timestamp_ = Later(choices_.OneOf<std::int64_t>({15'000, 15'010, 16'000, 29'998, 30'000, 30'002}) *
                           SampleNanoSec);
        Add(PlainFrame());
    }

    void TurnOfPlayback() {
        if (IsOdd()) {
            OddTurn();
            return;
        }
        AddFrame();
        std::int64_t const jitter = choices_.Between(-jitterNanoSec_, jitterNanoSec_);
        Pass(frameNanoSec_ + jitter);
        if (choices_.OneIn(4)) {
            Add(WithFaults(Service{}));
        }
    }

    bool IsOdd() { return choices_.OneIn(oddityOneIn_); }

    void OddTurn() {
        switch (choices_.Below(12)) {
            case 0:
                return Idle();
            case 1:
                // In braces the first is chosen first.
                Add(WithFaults(Client{ChooseLevel(), ChooseLevel()}));
                return;
            case 2:
                Add(Lose{});
                return;
            case 3:
                Add(StepSystemClock{choices_.Between(-3'600'000, 3'600'000) * NanoSecPerMilliSec});
                return;
            case 4:
                Pass(choices_.OneOf<std::int64_t>({0, 1, 23 * NanoSecPerMilliSec, 1023 * NanoSecPerMilliSec,
                                                   1024 * NanoSecPerMilliSec, 1024 * NanoSecPerMilliSec - 1,
                                                   4'999 * NanoSecPerMilliSec, RingNanoSec,
                                                   312'500'000 - SampleNanoSec, 312'500'000, 5'312'500'000}));
                return;
            case 5:
                Add(Skew{choices_.Between(-30'000, 30'000)});
                return;
            case 6: {
                std::int64_t const unit = choices_.OneOf<std::int64_t>({1, 4}) * NanoSecPerMilliSec;
                leadNanoSec_ = std::max<std::int64_t>(leadNanoSec_ + choices_.Between(-8, 8) * unit, 0);
                return;
            }
            case 7:
                if (choices_.OneIn(3)) {
                    rate_ = choices_.OneOf<std::int64_t>({48000, 44100, 8000, 0});
                    channels_ = choices_.OneOf<std::int64_t>({1, 1, 2, 3, 65537, 32769});
                }
                return;
            case 8:
                coding_ = choices_.OneOf<std::int64_t>({0x300, 0x301, 0x302, 0x303, 0x304, 0x305, 0});
                return;
            default:
                Add(WithFaults(OddFrame()));
                Pass(choices_.OneOf<std::int64_t>({0, 1, frameNanoSec_, frameNanoSec_, frameNanoSec_ / 2}));
                return;
        }
    }

    /// A pause with service passes at its thresholds.
    void Idle() {
        std::int64_t const pause =
            choices_.OneOf<std::int64_t>({500, 501, 700, 1000, 1001, 1500}) * NanoSecPerMilliSec;
        Pass(pause + choices_.OneOf<std::int64_t>({0, 0, -1, 1}));
        for (std::uint64_t passes = choices_.Below(3) + 1; passes != 0; --passes) {
            Add(WithFaults(Service{}));
            if (choices_.OneIn(2)) {
                Pass(choices_.OneOf<std::int64_t>({1, 200, 500, 1000}) * NanoSecPerMilliSec);
            }
        }
        if (choices_.OneIn(40)) {
            // Beyond 24.8 days, where milliseconds in 32 bits turn negative; cut short while something plays.
            Pass(choices_.OneOf<std::int64_t>({25, 30, 49, 50, 75}) * 86'400'000 * NanoSecPerMilliSec);
            Add(WithFaults(Service{}));
        }
    }

    std::int64_t ChooseLevel() {
        return choices_.OneOf<std::int64_t>(
            {0, 1, 250, 500, 500, 750, 999, 1000, 1000, 1001, 2000, -1, -1000, NotANumber});
    }

    void AddFrame() {
        Render frame = PlainFrame();
        timestamp_ += frameNanoSec_;
        if (choices_.OneIn(4)) {
            // Timestamps that are not quite regular: rounded by someone on the way.
            frame.timestampNanoSec += choices_.Between(-12, 12) * SampleNanoSec / 2;
        }
        Add(WithFaults(frame));
    }

    Render PlainFrame() {
        Render frame;
        frame.timestampNanoSec = timestamp_;
        frame.coding = coding_;
        frame.bytes = frameNanoSec_ / NanoSecPerMilliSec * 96;
        frame.rate = rate_;
        frame.channels = channels_;
        frame.aheadNanoSec = leadNanoSec_ + choices_.Between(-jitterNanoSec_, jitterNanoSec_);
        frame.dataAt = static_cast<std::int64_t>(choices_.Below(65536));
        if (coding_ != 0x300) {
            frame.decodedRate = rate_ == 48000 ? 48000 : 8000;
            frame.decodedBytes = rate_ == 48000 ? frame.bytes : frame.bytes / 6;
            frame.transcodedBytes = frame.bytes;
        }
        return frame;
    }

    Render OddFrame() {
        Render frame = PlainFrame();
        frame.timestampNanoSec = ChooseTimestamp();
        if (choices_.OneIn(3)) {
            frame.aheadNanoSec = ChooseAhead();
        }
        if (choices_.OneIn(3)) {
            frame.bytes = ChooseBytes();
        }
        if (frame.coding != 0x300 && choices_.OneIn(2)) {
            frame.decoded = choices_.Between(0, 3);
            frame.decodedRate = choices_.OneOf<std::int64_t>({48000, 48000, 8000, 44100, 0});
            frame.endsInNull = choices_.OneIn(4) ? 1 : 0;
            frame.transcoded = choices_.Between(0, 3);
            frame.decodedBytes = ChooseBytes();
            frame.transcodedBytes = ChooseBytes();
        }
        return frame;
    }

    std::int64_t ChooseTimestamp() {
        std::int64_t timestamp = timestamp_;
        switch (choices_.Below(12)) {
            case 0: // the last one again
                timestamp = Later(-frameNanoSec_);
                break;
            case 1: // out of order
                timestamp = Later(-frameNanoSec_ * choices_.Between(2, 5));
                break;
            case 2: // about the largest small gap
                timestamp = Later(choices_.Between(7, 14) * SampleNanoSec);
                timestamp += choices_.Between(-1, 1);
                break;
            case 3: // lost ones
                timestamp = Later(frameNanoSec_ * choices_.Between(1, 20));
                break;
            case 4: // about half a ring
                timestamp = Later((120'000 + choices_.Between(-3, 3)) * SampleNanoSec);
                break;
            case 5: // about a whole ring, or some
                timestamp = Later(choices_.Between(1, 3) * RingNanoSec);
                timestamp += choices_.Between(-3, 3) * SampleNanoSec;
                break;
            case 6: // long ago
                timestamp = Later(-choices_.Between(1, 100) * RingNanoSec);
                break;
            case 7: // no sense at all
                timestamp = choices_.OneOf<std::int64_t>({Lowest, -1, 0, 1, Highest, Highest - 1});
                break;
            case 8: // about the ring's end
                timestamp = Later(RingNanoSec - timestamp_ % RingNanoSec - choices_.Between(0, 3) * 960);
                break;
            default:
                break;
        }
        if (choices_.OneIn(2)) {
            // The stream goes on from there.
            timestamp_ = timestamp;
            timestamp_ = Later(frameNanoSec_);
        }
        return timestamp;
    }

    /// The stream's next timestamp and some more, unless that cannot be told.
    std::int64_t Later(std::int64_t nanoSec) const {
        constexpr std::int64_t Limit = Highest / 2;
        return timestamp_ > Limit || timestamp_ < -Limit ? nanoSec : timestamp_ + nanoSec;
    }

    std::int64_t ChooseAhead() {
        return choices_.OneOf<std::int64_t>({-1, 0, 1, -50 * NanoSecPerMilliSec, Lowest, Highest,
                                             choices_.Between(0, 400) * NanoSecPerMilliSec,
                                             RingNanoSec - choices_.Between(0, 5) * SampleNanoSec,
                                             2 * RingNanoSec - 1, RingNanoSec,
                                             15'000 * SampleNanoSec + choices_.Between(-2, 2) * SampleNanoSec,
                                             choices_.Between(0, 20'000) * NanoSecPerMilliSec});
    }

    std::int64_t ChooseBytes() {
        return choices_.OneOf<std::int64_t>({-1, 0, 1, 2, 3, 1919, 1920, 1921, choices_.Between(0, 5000),
                                             choices_.Between(0, 100'000), CaptureRingBytes - 2,
                                             CaptureRingBytes, CaptureRingBytes + 2, CaptureRingBytes - 1});
    }

    // --- capture

    void TurnOfCapture() {
        if (choices_.OneIn(3)) {
            Add(CaptureLevel{});
        }
        if (IsOdd()) {
            OddTurnOfCapture();
            return;
        }
        Add(WithCaptureFaults(ReadOrMeter()));
        std::int64_t const jitter = choices_.Between(-jitterNanoSec_, jitterNanoSec_);
        Pass(BlockNanoSec * choices_.OneOf<std::int64_t>({1, 1, 1, 1, 2, 3, 8}) + jitter);
    }

    Step ReadOrMeter() {
        if (choices_.OneIn(3)) {
            return CaptureMeter{};
        }
        CaptureRead read;
        read.heldFrames = choices_.OneIn(8) ? 1 : 0;
        if (choices_.OneIn(40)) {
            read.emptyLock = choices_.Between(1, 2);
        }
        return read;
    }

    void OddTurnOfCapture() {
        switch (choices_.Below(10)) {
            case 0:
                Add(WithCaptureFaults(CaptureStop{}));
                if (choices_.OneIn(2)) {
                    Add(WithCaptureFaults(ReadOrMeter()));
                }
                Add(WithCaptureFaults(CaptureStart{}));
                return;
            case 1:
                Add(WithCaptureFaults(CaptureHalt{}));
                return;
            case 2:
                Add(WithCaptureFaults(CaptureStart{}));
                return;
            case 3:
                Add(WithCaptureFaults(CaptureCreate{}));
                return;
            case 4:
                Add(StepSystemClock{choices_.Between(-3'600'000, 3'600'000) * NanoSecPerMilliSec});
                return;
            case 5:
                Add(CaptureStall{choices_.Between(0, 100) * NanoSecPerMilliSec});
                return;
            case 6: {
                // To the ring's end and across it.
                constexpr std::uint64_t NearlyARingOneIn = 12;
                Add(CaptureAtOnce{choices_.OneIn(NearlyARingOneIn)
                                      ? choices_.OneOf<std::int64_t>({228'480, 238'080, 239'999, 240'000})
                                      : choices_.OneOf<std::int64_t>({959, 960, 961, 1920, 9'600, 24'000})});
                Add(WithCaptureFaults(ReadOrMeter()));
                return;
            }
            case 7:
                Pass(choices_.OneOf<std::int64_t>({0, 1, 19'999'999, 20'000'000, 20'000'001, 100'000'000}));
                return;
            case 8:
                Add(CaptureLockSplit{choices_.Between(0, 3000) * 2});
                return;
            default:
                Add(CaptureAtOnce{choices_.Between(0, 3000)});
                return;
        }
    }

    // --- faults

    std::uint32_t ChooseResult() {
        return choices_.OneOf<std::uint32_t>(
            {BufferLost, BufferLost, NoDriver, OutOfMemory, InvalidArgument, Failure, Allocated});
    }

    template <class Faults>
    Step AddFaults(Step step, Faults calls) {
        if (faultsOneIn_ == 0 || !choices_.OneIn(faultsOneIn_)) {
            return step;
        }
        for (std::uint64_t count = choices_.OneOf<std::uint64_t>({1, 1, 2}); count != 0; --count) {
            Call_t const call = choices_.OneOf(calls);
            auto const nth = static_cast<std::uint32_t>(choices_.OneOf({1, 1, 1, 2, 3}));
            step.Failing(call, nth, ChooseResult());
        }
        return step;
    }

    Step WithFaults(Step step) {
        return AddFaults(
            std::move(step),
            std::initializer_list<Call_t>{
                Call_t::BufferGetStatus, Call_t::BufferGetCurrentPosition, Call_t::BufferSetCurrentPosition,
                Call_t::BufferSetFrequency, Call_t::BufferSetVolume, Call_t::BufferSetPan,
                Call_t::NotifySetNotificationPositions, Call_t::BufferPlay, Call_t::BufferStop,
                Call_t::BufferLock, Call_t::BufferLock, Call_t::BufferLock, Call_t::BufferRestore,
                Call_t::SoundCreateSoundBuffer, Call_t::BufferQueryBuffer8, Call_t::BufferQueryNotify});
    }

    Step WithCaptureFaults(Step step) {
        return AddFaults(std::move(step),
                         std::initializer_list<Call_t>{
                             Call_t::CaptureBufferGetCurrentPosition, Call_t::CaptureBufferLock,
                             Call_t::CaptureBufferStart, Call_t::CaptureBufferStop,
                             Call_t::CaptureCreateCaptureBuffer, Call_t::CaptureBufferQueryBuffer8});
    }

    Choices& choices_;
    std::size_t const maxSteps_;
    Scenario scenario_;

    bool hasCapture_ = false;
    bool hasPlayback_ = true;
    /// 0: never.
    std::uint64_t faultsOneIn_ = 0;
    std::uint64_t oddityOneIn_ = 1;
    std::int64_t frameNanoSec_ = 0;
    std::int64_t jitterNanoSec_ = 0;
    std::int64_t leadNanoSec_ = 0;
    std::int64_t coding_ = 0x300;
    std::int64_t rate_ = 48000;
    std::int64_t channels_ = 1;
    std::int64_t timestamp_ = 0;
};

} // namespace

Scenario Generate(Choices& choices, std::size_t maxSteps) {
    return Generator(choices, maxSteps).Make();
}

} // namespace ModelTest
