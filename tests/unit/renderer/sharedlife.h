#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kovra/thread.h"
#include "pipeline/pipeline.h"
#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/deviceview.h"
#include "support/module/fakecodec.h"
#include "support/module/rendererview.h"
#include "unit/renderer/sweep.h"

namespace UnitTest {

/// Those who live side by side. Nobody's calls are those of the playback thread for itself.
enum Party_t : std::size_t { First, Second, Microphone, Nobody };
constexpr std::size_t Parties = 3;

inline char const* ToString(Party_t party) {
    static constexpr char const* names[] = {"the first session", "the second session", "the microphone",
                                            "nobody"};
    return names[party];
}

/// What one party did and got.
struct Account {
    /// Its calls from its own turns, and those that the module's threads made for it; with their times.
    std::vector<std::string> calls;
    std::vector<std::string> callsOfThreads;
    /// What its turns came to.
    std::vector<std::string> results;
    /// Its ring at certain times.
    std::vector<std::vector<std::int16_t>> rings;
};

/// One call, its party, and what the turn came to in which it was made (of a thread's call nothing).
struct Made {
    Simulation::CallRecord record;
    Party_t party = Nobody;
    std::string result;
    /// The call before it in the same turn was a Restore.
    bool isAfterRestore = false;
};

/// What a life came to.
struct Story {
    std::array<Account, Parties> accounts;
    /// All calls, in order.
    std::vector<Made> calls;
};

inline std::string FirstWordOf(std::string const& text) {
    return text.substr(0, text.find(' '));
}

/// Events are numbered as they are made: what another party leaves out moves the numbers.
inline std::string TextOf(Simulation::CallRecord record) {
    if (CallSet{Call_t::Win32SetEvent, Call_t::Win32CloseHandle}.Contains(record.call)) {
        record.arguments[0] = 0;
    } else if (record.call == Call_t::NotifySetNotificationPositions) {
        record.arguments[2] = 0;
    }
    return record.Text() + " at " + std::to_string(record.nanoSec);
}

/// The fault of one life: the `nth` call of `call` from its beginning gives `result`.
struct Fault {
    Call_t call = Call_t::BufferLock;
    std::uint64_t nth = 0;
    std::int64_t result = 0;
    bool hasEffect = false;
};

/// The life, told turn by turn. Only the module's own threads run beside the test's, and the test waits for
/// them after each turn.
class SharedLife {
public:
    /// A fault without a number is none.
    static Story Tell(Fault const& fault) {
        SharedLife life;
        life.Live(fault);
        return std::move(life.story_);
    }

    ~SharedLife() { Pipeline::SetAudioRenderer(nullptr); }
    SharedLife(SharedLife const&) = delete;
    SharedLife& operator=(SharedLife const&) = delete;

private:
    struct Session {
        boost::intrusive_ptr<PipelineState> state;
        std::int64_t frames = 0;
        std::vector<Simulation::SoundBuffer*> buffers;
    };

    SharedLife() {
        codec_.decode = DecodeToConstantFrame;
        Pipeline::SetAudioRenderer(&renderer_);
        world_.Device().SetRingCheck(false);
        EXPECT_TRUE(InitializeWithRunningThread(renderer_, world_));
        wake_ = EventsOf(DeviceOf(renderer_)).front();
    }

    void Live(Fault const& fault) {
        world_.Journal().Enable();
        if (fault.hasEffect) {
            world_.Faults().FailAllTheSame(fault.call, fault.nth, fault.result);
        } else if (fault.nth != 0) {
            world_.Faults().Fail(fault.call, fault.nth, fault.result);
        }
        Sound();
        Stumble();
        RestAndComeBack();
        MeterAndRestart();
        Part();
        TakeCallsOfThreads();
        world_.Journal().Enable(false);
        world_.Faults().Clear();
        renderer_.Shutdown();
    }

    // --- the chapters

    void Sound() {
        for (Party_t const party : {First, Second}) {
            TakeTurn(party, [&] {
                SessionOf(party).state = OpenSession(renderer_);
                return "opened";
            });
        }
        Go(8);
        for (Party_t const party : {First, Second}) {
            TakeTurn(party, [&] { return SetClientState(party); });
        }
    }

    void Stumble() {
        InTurn([&](Party_t party) {
            // Another rate: the sound buffer is built anew.
            auto const frame = RawFrame(NextTimestamp(party), std::vector<std::int16_t>(160, 800), 8000);
            return Render(party, frame, LeadMilliSec);
        });
        InTurn([&](Party_t party) {
            return Render(party, CodedFrame(MediaCoding_t::Aac, NextTimestamp(party)), LeadMilliSec);
        });
        Go(2);
        InTurn([&](Party_t party) {
            LoseBufferOf(party);
            return RenderNext(party, LeadMilliSec);
        });
        InTurn([&](Party_t party) { return RenderNext(party, -LeadMilliSec); });
        Go(2);
        InTurn([&](Party_t party) {
            // Before the origin: the ring is cleared.
            auto const frame = ConstantFrame(FirstTimestampNanoSec - 1, FrameSamples, 600);
            return Render(party, frame, LeadMilliSec);
        });
        Go(3);
        KeepRings();
    }

    void RestAndComeBack() {
        // The latest start's notification is over then, and the passes that follow are in step again, whoever
        // woke the thread before.
        Advance(LeadMilliSec + 2 * FrameMilliSec);
        SetEvent(wake_);
        Settle();
        for (int i = 0; i < 3; ++i) {
            Advance(600);
            TakeTurn(Microphone, [&] { return Listen(); });
        }
        KeepRings();
        Go(3);
        KeepRings();
    }

    void MeterAndRestart() {
        TakeTurn(Microphone, [&] { return Restart(); });
        Go(2);
        Meter meter([calls = 0](float) mutable { return ++calls < 3; });
        EXPECT_TRUE(renderer_.GetLineLevelCallbacks(meter.MakeCallback()));
        EXPECT_TRUE(YieldUntil([&] { return meter.GetHeld() == 0 || IsLineLevelThreadAsleep(world_); }));
        for (int i = 0; i < 3; ++i) {
            Advance(FrameMilliSec);
        }
        EXPECT_TRUE(meter.WaitForEnd());
        for (float const level : meter.GetLevels()) {
            story_.accounts[Microphone].results.push_back("level " + std::to_string(level));
        }
        // A start that has failed shows in nothing but that no frames come: a host tries again.
        TakeTurn(Microphone, [&] {
            proxy_->StartBufferCapture();
            return "started again";
        });
        Go(2);
    }

    void Part() {
        TakeTurn(First, [&] {
            SessionOf(First).state.reset();
            return "ended";
        });
        for (int i = 0; i < 3; ++i) {
            TakeTurn(Second, [&] { return RenderNext(Second, LeadMilliSec); });
            Advance(FrameMilliSec);
        }
        KeepRings();
        TakeTurn(Second, [&] {
            SessionOf(Second).state.reset();
            return "ended";
        });
        TakeTurn(Microphone, [&] {
            proxy_.reset();
            return "let go";
        });
    }

    // --- turns

    /// `frames` usual frames of each session, and as many reads of the microphone.
    void Go(int frames) {
        for (int i = 0; i < frames; ++i) {
            InTurn([&](Party_t party) { return RenderNext(party, LeadMilliSec); });
        }
    }

    template <class Turn>
    void InTurn(Turn turn) {
        TakeTurn(First, [&] { return turn(First); });
        TakeTurn(Second, [&] { return turn(Second); });
        TakeTurn(Microphone, [&] { return Listen(); });
        Advance(FrameMilliSec);
    }

    /// `turn` of `party`, whose calls on this thread are its own, as are the sound buffers made in it.
    template <class Turn>
    void TakeTurn(Party_t party, Turn turn) {
        std::size_t const buffers = world_.Buffers().size();
        TakeCallsOfThreads();
        std::string const result = turn();
        story_.accounts[party].results.push_back(result);
        auto const all = world_.Buffers();
        for (std::size_t i = buffers; i < all.size(); ++i) {
            SessionOf(party).buffers.push_back(all[i]);
        }
        Settle();
        TakeCalls(party, result);
    }

    void Advance(std::int64_t milliSec) {
        world_.Clock().AdvanceMilliSec(milliSec);
        Settle();
    }

    /// The playback thread has done what it was woken for.
    void Settle() { world_.WaitForBlockedThread(PlaybackThreadName); }

    /// Gives what was called since the last look to those it was called for.
    void TakeCalls(Party_t turn, std::string const& result) {
        bool isAfterRestore = false;
        for (auto const& record : world_.Journal().Records()) {
            Made made{record, Nobody, {}, false};
            if (record.threadName == Kovra::GetThreadName()) {
                made.party = turn;
                made.result = result;
                made.isAfterRestore = isAfterRestore;
                isAfterRestore = record.call == Call_t::BufferRestore;
            } else if (record.threadName == LineLevelThreadName) {
                made.party = Microphone;
            } else if (CallSet::Buffer().Contains(record.call)) {
                made.party = OwnerOf(record.object);
            }
            if (made.party != Nobody) {
                auto& account = story_.accounts[made.party];
                (made.result.empty() ? account.callsOfThreads : account.calls).push_back(TextOf(record));
            }
            story_.calls.push_back(std::move(made));
        }
        world_.Journal().Clear();
    }
    void TakeCallsOfThreads() { TakeCalls(Nobody, {}); }

    Party_t OwnerOf(std::uint32_t buffer) const {
        for (Party_t const party : {First, Second}) {
            for (auto const* const owned : sessions_[party].buffers) {
                if (owned->Number() == buffer) {
                    return party;
                }
            }
        }
        return Nobody;
    }

    void KeepRings() {
        for (Party_t const party : {First, Second}) {
            auto const& buffers = SessionOf(party).buffers;
            story_.accounts[party].rings.push_back(
                buffers.empty()
                    ? std::vector<std::int16_t>()
                    : buffers.back()->Samples(0, buffers.back()->RingBytes() / Media::Ring::SampleSizeBytes));
        }
    }

    // --- a session's

    Session& SessionOf(Party_t party) { return sessions_.at(party); }

    std::int64_t NextTimestamp(Party_t party) {
        return FirstTimestampNanoSec + SessionOf(party).frames * FrameNanoSec;
    }

    std::string RenderNext(Party_t party, std::int64_t leadMilliSec) {
        auto const value = static_cast<std::int16_t>(1000 * (static_cast<std::int64_t>(party) + 1) +
                                                     SessionOf(party).frames);
        return Render(party, ConstantFrame(NextTimestamp(party), FrameSamples, value), leadMilliSec);
    }

    std::string Render(Party_t party, std::shared_ptr<FrameAud> const& frame, std::int64_t leadMilliSec) {
        ++SessionOf(party).frames;
        auto const job =
            RenderJob(SessionOf(party).state, frame, Kovra::JiffyTime::Now().AddMilliSec(leadMilliSec));
        renderer_.Divide(job);
        // The time as a second word, for those who want the outcome alone.
        return std::string(job->GetOutcome() == Outcome_t::Succeeded ? "succeeded" : "uncompleted") + " " +
               std::to_string(job->GetPresentationTimestamp().NanoSec());
    }

    std::string SetClientState(Party_t party) {
        PipelineClientState_t client;
        client.balance = party == First ? 0.25F : 0.75F;
        client.volume = 0.5F;
        SessionOf(party).state->SetClientState(client);
        return SessionOf(party).state->UpdateClientState() ? "updated" : "no client";
    }

    void LoseBufferOf(Party_t party) {
        auto const& buffers = SessionOf(party).buffers;
        if (!buffers.empty() && buffers.back()->References() != 0) {
            buffers.back()->Lose();
        }
    }

    // --- the microphone's

    /// By turns reads frames and the level alone; asks for the proxy while there is none.
    std::string Listen() {
        if (proxy_ == nullptr) {
            proxy_ = renderer_.GetCaptureProxy();
            return proxy_ == nullptr ? "no proxy" : "proxy";
        }
        if (++listenings_ % 3 == 0) {
            int const status = proxy_->SampleLineLevel();
            return std::to_string(status) + " level " + std::to_string(proxy_->GetLineLevel());
        }
        Frames frames;
        int const status = proxy_->ReadFrames(frames);
        std::string text = std::to_string(status) + " frames";
        for (auto const& frame : frames) {
            text += " " + std::to_string(frame->GetIdent().sequenceNumber);
        }
        return text;
    }

    std::string Restart() {
        if (proxy_ == nullptr) {
            return "no proxy";
        }
        proxy_->StartBufferCapture();
        proxy_->StopBufferCapture();
        proxy_->StartBufferCapture();
        if (!proxy_->IsInitialized()) {
            // As a host would: the renderer has another one for it.
            proxy_ = renderer_.GetCaptureProxy();
            return "not started";
        }
        return "started";
    }

    Simulation::TestWorld world_;
    FakeCodec codec_;
    RendererAudio renderer_;
    HANDLE wake_ = nullptr;
    std::array<Session, 2> sessions_;
    std::shared_ptr<RendererAudioCaptureProxy> proxy_;
    int listenings_ = 0;
    Story story_;
};

} // namespace UnitTest
