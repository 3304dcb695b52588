#pragma once

#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "simulation/world.h"
#include "support/module/builders.h"
#include "support/module/peers.h"
#include "support/module/unittest.h"

namespace UnitTest {

using DevicePeer = RendererAudioPlaybackDevicePeer;

// Looks into a playback device. **Threads:** while no other thread changes what is looked at.

inline std::vector<HANDLE> EventsOf(RendererAudioPlaybackDevice& device) {
    return *DevicePeer::GetFields(device).registry.GetEvents();
}

inline std::vector<RendererAudioPlaybackBuffer*> BuffersOf(RendererAudioPlaybackDevice& device) {
    auto& fields = DevicePeer::GetFields(device);
    return fields.registry.GetBuffers(boost::mutex::scoped_lock(fields.lock));
}

inline std::map<std::string, GUID> KnownDevicesOf(RendererAudioPlaybackDevice& device) {
    auto& fields = DevicePeer::GetFields(device);
    return fields.devices.GetDevices(boost::mutex::scoped_lock(fields.lock));
}

inline bool HasSound(RendererAudioPlaybackDevice& device) {
    return DevicePeer::GetFields(device).sound != nullptr;
}

inline bool HasThread(RendererAudioPlaybackDevice& device) {
    return DevicePeer::GetFields(device).thread.load() != nullptr;
}

/// True when another thread could take `lock` now.
inline bool CanBeLockedElsewhere(boost::mutex& lock) {
    bool isFree = false;
    std::thread([&] {
        isFree = lock.try_lock();
        if (isFree) {
            lock.unlock();
        }
    }).join();
    return isFree;
}

/// A playback buffer without sound, registered with a device for as long as it lives, that tells whether the
/// service pass has come by.
class RegisteredBuffer {
public:
    explicit RegisteredBuffer(RendererAudioPlaybackDevice& device) : device_(device), buffer_(device) {
        Rearm();
        event_ = device.AddBuffer(buffer_);
    }
    ~RegisteredBuffer() { device_.RemoveBuffer(buffer_); }
    RegisteredBuffer(RegisteredBuffer const&) = delete;
    RegisteredBuffer& operator=(RegisteredBuffer const&) = delete;

    /// From here on `WasServiced` is false until the next pass. **Threads:** while no pass can run.
    void Rearm() {
        GetFields().writePos.store(MarkSamples);
        GetFields().lastServicedWritePos = 0;
    }
    bool WasServiced() { return GetFields().lastServicedWritePos == MarkSamples; }

    RendererAudioPlaybackBuffer& Get() { return buffer_; }
    HANDLE GetEvent() const { return event_; }

private:
    /// A pass copies the write position, whatever else it does.
    static constexpr std::uint32_t MarkSamples = 2;

    RendererAudioPlaybackBufferPeer::Fields& GetFields() {
        return RendererAudioPlaybackBufferPeer::GetFields(buffer_);
    }

    RendererAudioPlaybackDevice& device_;
    RendererAudioPlaybackBuffer buffer_;
    HANDLE event_ = nullptr;
};

/// The texts of the calls in `calls` that the thread named `threadName` made; the test's own has no name.
inline std::vector<std::string> TextsOfThread(Simulation::World& world, std::string const& threadName,
                                              CallSet const& calls) {
    std::vector<std::string> texts;
    for (auto const& record : world.Journal().Records(calls)) {
        if (record.threadName == threadName) {
            texts.push_back(record.Text());
        }
    }
    return texts;
}

/// All calls but those that only count references.
inline CallSet CallsButReferences() {
    return CallSet::All() - CallSet::References();
}

constexpr char const* PlaybackThreadName = "Media.RendererAudio.Playback";

} // namespace UnitTest
