#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "live/liveframes.h"
#include "live/packetorder.h"
#include "live/streamcourse.h"
#include "live/streamstate.h"
#include "pipeline/streamclock.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// Breaks, and what the stream clock notices, are told as records of this channel.
constexpr char const* StreamChannel = "AudioHost.Stream";

/// What comes while nobody takes it, as other streams are still being opened. More could not wait for its
/// turn.
constexpr std::size_t MaxNews = MaxWaitingPackets;

/// A stream that is played: a thread reads it and opens it again when it breaks; its packets are placed in
/// time, put into their order, and become frames.
///
/// **Threads:** all operations on one at a time; the reading thread is its own.
class LiveStream {
public:
    using StopFlag = std::shared_ptr<std::atomic<bool>>;
    /// Opens the stream, or throws `HostError`; what it waits for ends soon after the flag is set.
    using Connect = std::function<std::unique_ptr<StreamConnection>(StopFlag const&)>;

    struct Settings {
        std::int64_t leadNanoSec = 0;
        /// The lead follows the jitter that is seen.
        bool isLeadAdapted = true;
    };

    /// Starts to open it. `name` is shown and kept: without credentials.
    LiveStream(std::string name, Connect connect, Settings settings);
    /// Waits for the reading thread until a second after `Stop` at most: it may be asking for a host's name,
    /// which nothing ends, and is left to itself then.
    ~LiveStream();
    LiveStream(LiveStream const&) = delete;
    LiveStream& operator=(LiveStream const&) = delete;

    /// Waits until it has been opened. Throws `HostError` when it could not be. False when `pacer` says so.
    bool WaitUntilOpen(Pacer& pacer);
    std::string const& GetName() const { return name_; }
    /// In words, once it is open.
    std::string const& GetDescription() const { return description_; }

    /// Hands over the frames whose time has come. Their positions are on the stream's timeline.
    void Pump(Kovra::JiffyTime now, std::function<void(LiveFrame&)> const& hand);
    /// Nothing more will come.
    bool IsOver() const { return isOver_ && order_.IsEmpty(); }
    StreamState GetState() const;

    /// Lets the reading end, without waiting for it. Several that are stopped one after the other before the
    /// first of them goes end together.
    void Stop();

private:
    /// What the reading thread shares; it may outlive the stream.
    struct Shared {
        StopFlag stop = std::make_shared<std::atomic<bool>>(false);
        std::mutex lock;
        std::condition_variable changed;
        // --- guarded by lock
        std::deque<StreamNews> news;
        bool hasEnded = false;

        /// Beyond `MaxNews` the oldest packet is dropped, and missing as if it had been lost on the way.
        void Tell(StreamNews one);
        bool Wait(std::int64_t nanoSec);
    };

    std::deque<StreamNews> TakeNews(bool& hasEnded);
    void Hear(StreamNews& news);
    void GiveUp(HostError const& error);
    void Begin(StreamFormat const& format);
    void Place(LivePacket& packet);

    std::string const name_;
    Settings const settings_;
    std::shared_ptr<Shared> const shared_ = std::make_shared<Shared>();
    std::thread reader_;
    /// Since it was stopped.
    std::optional<std::chrono::steady_clock::time_point> endBy_;

    std::string description_;
    std::unique_ptr<Media::StreamClock> clock_;
    std::int64_t ticksPerSec_ = 0;
    PacketOrder order_;
    std::unique_ptr<LiveFrameMaker> maker_;
    StreamState state_;
    std::optional<HostError> error_;
    bool isOver_ = false;
};

} // namespace AudioHost
