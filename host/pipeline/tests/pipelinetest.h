#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"

namespace PipelineTests {

inline std::shared_ptr<Media::FrameAudRaw> MakeRaw() {
    return std::make_shared<Media::FrameAudRaw>(
        Media::FrameIdent(), boost::intrusive_ptr<Media::ParamsAudRaw>(new Media::ParamsAudRaw));
}

inline std::shared_ptr<Media::FrameAud> MakeCoded() {
    return std::make_shared<Media::FrameAud>(
        Media::FrameIdent(),
        boost::intrusive_ptr<Media::ParamsAud>(new Media::ParamsAud(Media::MediaCoding_t::G711)));
}

/// Holds threads back until it is opened.
class Gate {
public:
    void Open() {
        std::lock_guard<std::mutex> const guard(lock_);
        isOpen_ = true;
        opened_.notify_all();
    }

    void Wait() {
        std::unique_lock<std::mutex> guard(lock_);
        opened_.wait(guard, [this] { return isOpen_; });
    }

private:
    std::mutex lock_;
    std::condition_variable opened_;
    bool isOpen_ = false;
};

/// What happened, in order.
class Journal {
public:
    void Write(std::string const& entry) {
        std::lock_guard<std::mutex> const guard(lock_);
        entries_.push_back(entry);
    }

    std::vector<std::string> Read() const {
        std::lock_guard<std::mutex> const guard(lock_);
        return entries_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::string> entries_;
};

/// A state of either kind that tells what is done to it.
template <class Base>
class TellingState : public Base {
public:
    explicit TellingState(Journal& journal) : journal_(journal) {}
    ~TellingState() override { journal_.Write("state ended"); }

    void Unregister() override { journal_.Write("unregister"); }

    bool UpdateClientState() override {
        Media::PipelineClientState_t state;
        bool const isSet = this->GetClientState(state);
        journal_.Write("update " +
                       (isSet ? std::to_string(static_cast<int>(state.volume * 100.0F)) : "missing"));
        return isSet;
    }

private:
    Journal& journal_;
};

/// A renderer whose work is given by the test.
class TestRenderer : public Media::IPipelineRenderer {
public:
    int Initialize() override { return 0; }
    void Shutdown() override {}
    bool IsEnabled() const override { return true; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }

    void RegisterSession(Media::PipelineSessionParams_t& params,
                         boost::intrusive_ptr<Media::PipelineState>& state) override {
        if (params.renderAudio) {
            state = makeState();
        }
    }

    void Divide(boost::intrusive_ptr<Media::PipelineStageRenderJob> const& job) override { divide(*job); }

    std::function<boost::intrusive_ptr<Media::PipelineState>()> makeState = [] {
        return boost::intrusive_ptr<Media::PipelineState>(new Media::PipelineStateExclusive);
    };
    std::function<void(Media::PipelineStageRenderJob&)> divide = [](Media::PipelineStageRenderJob& job) {
        job.Success();
    };
};

inline Media::PipelineClientState_t MakeClientState(float volume) {
    Media::PipelineClientState_t state;
    state.volume = volume;
    return state;
}

/// The presentation time serves as a job's number.
inline std::int64_t NumberOf(Media::PipelineStageRenderJob const& job) {
    return job.Params()->presentationTime.NanoSec();
}

class PipelineTest : public testing::Test {
protected:
    void UseTellingState() {
        renderer.makeState = [this] {
            return boost::intrusive_ptr<Media::PipelineState>(
                new TellingState<Media::PipelineStateExclusive>(journal));
        };
    }

    /// Job 0 waits for the gate; each job writes its number.
    void UseGatedJobs() {
        renderer.divide = [this](Media::PipelineStageRenderJob& job) {
            if (NumberOf(job) == 0) {
                entered.Open();
                gate.Wait();
            }
            journal.Write("job " + std::to_string(NumberOf(job)));
            job.Success();
        };
    }

    TestRenderer renderer;
    Journal journal;
    Gate entered;
    Gate gate;
};

} // namespace PipelineTests
