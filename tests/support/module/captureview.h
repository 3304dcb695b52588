#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "simulation/world.h"
#include "support/module/deviceview.h"
#include "support/module/peers.h"
#include "support/module/unittest.h"

namespace UnitTest {

using CaptureDevicePeer = RendererAudioCaptureDevicePeer;
using CaptureProxyPeer = RendererAudioCaptureProxyPeer;
using CaptureBufferPeer = RendererAudioCaptureBufferPeer;

constexpr char const* LineLevelThreadName = "Media.RendererAudio.LineLevel";
constexpr char const* CaptureThreadName = "Media.RendererAudio.Capture";

/// What a device without any fault opens with, and what it makes a buffer with; references left out.
constexpr char const* EnumerateText = "DirectSound::DirectSoundCaptureEnumerateA()";
constexpr char const* CreateText = "DirectSound::DirectSoundCaptureCreate8()";
constexpr char const* GetCapsText = "Capture::GetCaps()";
constexpr char const* CreateBufferText = "Capture::CreateCaptureBuffer(2147483648, 480000)";

// Looks into a capture device. **Threads:** while no other thread changes what is looked at.

inline std::vector<HANDLE> EventsOf(RendererAudioCaptureDevice& device) {
    return *CaptureDevicePeer::GetFields(device).registry.GetEvents();
}

inline std::vector<RendererAudioCaptureBuffer*> BuffersOf(RendererAudioCaptureDevice& device) {
    auto& fields = CaptureDevicePeer::GetFields(device);
    return fields.registry.GetBuffers(boost::mutex::scoped_lock(fields.lock));
}

inline std::map<std::string, GUID> KnownDevicesOf(RendererAudioCaptureDevice& device) {
    auto& fields = CaptureDevicePeer::GetFields(device);
    return fields.devices.GetDevices(boost::mutex::scoped_lock(fields.lock));
}

inline bool HasCapture(RendererAudioCaptureDevice& device) {
    return CaptureDevicePeer::GetFields(device).capture != nullptr;
}

/// Any time.
inline bool HasCaptureThread(RendererAudioCaptureDevice& device) {
    return CaptureDevicePeer::GetFields(device).captureThread.load() != nullptr;
}

/// The texts of `records` with the interface called, such as "Capture::Release()".
inline std::vector<std::string> FullTexts(std::vector<Simulation::CallRecord> const& records) {
    std::vector<std::string> texts;
    for (auto const& record : records) {
        std::string const name = ToString(record.call);
        texts.push_back(name.substr(0, name.find("::") + 2) + record.Text());
    }
    return texts;
}

/// All calls but those in which the module only holds the capture object for a while.
inline Simulation::CallSet CallsButPassingReferences() {
    return CallSet::All() - CallSet{Call_t::CaptureAddRef, Call_t::CaptureRelease};
}

/// Every sample stands at one end of the range, by turns.
inline std::int16_t FullScaleSquare(std::uint64_t sampleIndex) {
    return sampleIndex % 2 == 0 ? INT16_MIN : INT16_MAX;
}

/// The level after this many blocks of full scale since the start, by (blocks / 16) ^ 0.65625.
constexpr float LevelOfOneBlock = 0.162105F;
constexpr float LevelOfTwoBlocks = 0.255474F;
constexpr float LevelTolerance = 1e-6F;

/// Lets other threads run until `isTrue`; false when it is not in the end. For what the simulation cannot
/// wait for.
template <class Predicate>
bool YieldUntil(Predicate isTrue) {
    auto const deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(Simulation::World::WatchdogSeconds);
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// Line-level callbacks that keep what they were called with, and know when the threads that had them have
/// ended. **Threads:** any.
class Meter {
public:
    using Callback = std::function<bool(float)>;

    /// What each call does, after it has been kept.
    explicit Meter(Callback action = [](float) { return true; }) : action_(std::move(action)) {}

    /// One more callback, for one thread: give it away.
    Callback MakeCallback() {
        auto const shared = shared_;
        {
            std::lock_guard<std::mutex> const guard(shared->lock);
            ++shared->held;
        }
        // Dropped with the callback's last copy, which the thread lets go of as the last thing it does.
        std::shared_ptr<void> const hold(nullptr, [shared](void*) {
            std::lock_guard<std::mutex> const guard(shared->lock);
            --shared->held;
            shared->hasEnded.notify_all();
        });
        return [shared, hold, action = action_](float level) {
            {
                std::lock_guard<std::mutex> const guard(shared->lock);
                shared->levels.push_back(level);
            }
            return action(level);
        };
    }

    /// All levels reported so far.
    std::vector<float> GetLevels() const {
        std::lock_guard<std::mutex> const guard(shared_->lock);
        return shared_->levels;
    }
    std::size_t GetCalls() const { return GetLevels().size(); }

    /// Callbacks that somebody still has.
    std::size_t GetHeld() const {
        std::lock_guard<std::mutex> const guard(shared_->lock);
        return shared_->held;
    }

    /// Returns when no callback is held any more, true; false when that does not come.
    bool WaitForEnd() const {
        std::unique_lock<std::mutex> guard(shared_->lock);
        return shared_->hasEnded.wait_for(guard, std::chrono::seconds(Simulation::World::WatchdogSeconds),
                                          [this] { return shared_->held == 0; });
    }

private:
    struct Shared {
        std::mutex lock;
        std::condition_variable hasEnded;
        std::vector<float> levels;
        std::size_t held = 0;
    };

    Callback const action_;
    std::shared_ptr<Shared> const shared_ = std::make_shared<Shared>();
};

} // namespace UnitTest
