#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "loadedmodule.h"
#include "mediacore/frame.h"
#include "names.h"
#include "rendereraudio.h"
#include "support/process/processresources.h"

namespace ContractTest {

using Frames = std::vector<std::shared_ptr<Media::FrameAud>>;
using Proxy = Media::RendererAudioCaptureProxy;
using LevelCallback = std::function<bool(float)>;

/// The capture operations, reached through the export table as everything here.
class LoadedMicrophone {
public:
    LoadedMicrophone(LoadedModule const& module, Media::RendererAudio const& renderer)
        : module_(module),
          proxy_((renderer.*module.FindMember<std::shared_ptr<Proxy> (Media::RendererAudio::*)() const>(
                                Names::GetCaptureProxy))()) {}

    Proxy* Get() const { return proxy_.get(); }

    int ReadFrames(Frames& frames) const {
        return (proxy_.get()->*Find<int (Proxy::*)(Frames&)>(Names::ReadFrames))(frames);
    }
    int SampleLineLevel() const { return (proxy_.get()->*Find<int (Proxy::*)()>(Names::SampleLineLevel))(); }
    float GetLineLevel() const {
        return (proxy_.get()->*Find<float (Proxy::*)() const>(Names::GetLineLevel))();
    }
    bool IsInitialized() const {
        return (proxy_.get()->*Find<bool (Proxy::*)() const>(Names::IsInitialized))();
    }
    void Start() const { (proxy_.get()->*Find<void (Proxy::*)()>(Names::StartBufferCapture))(); }
    void Stop() const { (proxy_.get()->*Find<void (Proxy::*)()>(Names::StopBufferCapture))(); }

private:
    template <class Member>
    Member Find(char const* name) const {
        return module_.FindMember<Member>(name);
    }

    LoadedModule const& module_;
    std::shared_ptr<Proxy> const proxy_;
};

/// Asks `renderer` for a line-level thread.
inline bool StartLevelCallbacks(LoadedModule const& module, Media::RendererAudio const& renderer,
                                LevelCallback const& callback) {
    using Member = bool (Media::RendererAudio::*)(LevelCallback const&) const;
    return (renderer.*module.FindMember<Member>(Names::GetLineLevelCallbacks))(callback);
}

/// Knows when the thread that a callback was given to has ended. To be made before the thread.
class ThreadEnd {
public:
    /// `callback`, watched.
    LevelCallback Watch(LevelCallback callback) const {
        std::shared_ptr<void> const token(nullptr, [state = state_](void*) {
            std::lock_guard<std::mutex> const guard(state->lock);
            state->hasEnded = true;
            state->changed.notify_all();
        });
        return [token, callback = std::move(callback)](float level) { return callback(level); };
    }

    /// Returns when the thread has let go of the callback, which is the last of its work, and is gone: its
    /// last instructions are the library's, which must not be unloaded under them.
    void Wait() const {
        {
            std::unique_lock<std::mutex> guard(state_->lock);
            state_->changed.wait(guard, [this] { return state_->hasEnded; });
        }
        while (TestSupport::CountThreads() > threads_) {
            std::this_thread::yield();
        }
    }

private:
    struct State {
        std::mutex lock;
        std::condition_variable changed;
        bool hasEnded = false;
    };
    std::uint32_t const threads_ = TestSupport::CountThreads();
    std::shared_ptr<State> const state_ = std::make_shared<State>();
};

} // namespace ContractTest
