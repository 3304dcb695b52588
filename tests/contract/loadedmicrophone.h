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
          proxy_(Get<std::shared_ptr<Proxy>(Media::RendererAudio const*)>(
              "_ZNK5Media13RendererAudio15GetCaptureProxyEv")(&renderer)) {}

    Proxy* Get() const { return proxy_.get(); }

    int ReadFrames(Frames& frames) const {
        return Get<int(Proxy*, Frames&)>(
            "_ZN5Media25RendererAudioCaptureProxy10ReadFramesERSt6vectorISt10shared_"
            "ptrINS_8FrameAudEESaIS4_EE")(proxy_.get(), frames);
    }
    int SampleLineLevel() const {
        return Get<int(Proxy*)>("_ZN5Media25RendererAudioCaptureProxy15SampleLineLevelEv")(proxy_.get());
    }
    float GetLineLevel() const {
        return Get<float(Proxy const*)>("_ZNK5Media25RendererAudioCaptureProxy12GetLineLevelEv")(
            proxy_.get());
    }
    bool IsInitialized() const {
        return Get<bool(Proxy const*)>("_ZNK5Media25RendererAudioCaptureProxy13IsInitializedEv")(
            proxy_.get());
    }
    void Start() const {
        Get<void(Proxy*)>("_ZN5Media25RendererAudioCaptureProxy18StartBufferCaptureEv")(proxy_.get());
    }
    void Stop() const {
        Get<void(Proxy*)>("_ZN5Media25RendererAudioCaptureProxy17StopBufferCaptureEv")(proxy_.get());
    }

private:
    template <class Function>
    Function* Get(char const* name) const {
        return reinterpret_cast<Function*>(module_.Find(name));
    }

    LoadedModule const& module_;
    std::shared_ptr<Proxy> const proxy_;
};

/// Asks `renderer` for a line-level thread.
inline bool StartLevelCallbacks(LoadedModule const& module, Media::RendererAudio const& renderer,
                                LevelCallback const& callback) {
    using Function = bool(Media::RendererAudio const*, LevelCallback const&);
    return reinterpret_cast<Function*>(module.Find(
        "_ZNK5Media13RendererAudio21GetLineLevelCallbacksERKSt8functionIFbfEE"))(&renderer, callback);
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
