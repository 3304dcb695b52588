// Time, threads, memory and log.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "harbour/host.h"
#include "harbour/simulated.h"
#include "kovra/buffer.h"
#include "kovra/log.h"
#include "kovra/thread.h"
#include "kovra/time.h"

namespace Harbour {

Counted::~Counted() = default;

void Counted::Dispose() {
    delete this;
}

} // namespace Harbour

namespace Kovra {

// --- time

namespace {

std::atomic<ClockSource const*> clockSource{nullptr};

constexpr std::uint64_t NanoSecPerMilliSec = 1'000'000;

} // namespace

void SetClockSource(ClockSource const* source) {
    clockSource = source;
}

SysTime SysTime::Now() {
    ClockSource const* const source = clockSource;
    return SysTime(source != nullptr ? Span(source->SystemNanoSec())
                                     : Span(std::chrono::system_clock::now().time_since_epoch()));
}

JiffyTime JiffyTime::Now() {
    ClockSource const* const source = clockSource;
    auto const passed = source != nullptr
                            ? SysTime::Span(source->MonotonicNanoSec())
                            : SysTime::Span(std::chrono::steady_clock::now().time_since_epoch());
    return JiffyTime(UINT64_MAX - static_cast<std::uint64_t>(passed.count()));
}

SysTime JiffyTime::GetDiffSysTime(JiffyTime const& earlier) const {
    return SysTime(SysTime::Span(static_cast<std::int64_t>(earlier.left_ - left_)));
}

std::int32_t JiffyTime::GetDiffMilliSec32(JiffyTime const& earlier) const {
    return static_cast<std::int32_t>(GetDiffSysTime(earlier).NanoSec() /
                                     static_cast<std::int64_t>(NanoSecPerMilliSec));
}

JiffyTime JiffyTime::AddMilliSec(std::int64_t milliSec) const {
    return JiffyTime(left_ - static_cast<std::uint64_t>(milliSec) * NanoSecPerMilliSec);
}

// --- threads

namespace {

constexpr std::size_t ThreadNameBytes = 64;
thread_local char threadName[ThreadNameBytes] = "";
static_assert(std::is_trivially_destructible_v<decltype(threadName)>);

} // namespace

void SetThreadPriority(ThreadPriority_t const& /*priority*/) noexcept {}

void SetThreadName(char const* name) noexcept {
    std::strncpy(threadName, name, ThreadNameBytes - 1);
}

char const* GetThreadName() {
    return threadName;
}

// --- memory

/// Blocks that nobody holds, by size and alignment. Lives to the end of the process.
class Pool {
public:
    static Pool& Instance() {
        static auto* const pool = new Pool;
        return *pool;
    }

    boost::intrusive_ptr<Buffer> Take(std::size_t size, std::size_t alignment) {
        std::lock_guard<std::mutex> const guard(lock_);
        auto& shelf = shelves_[{size, alignment}];
        if (shelf.empty()) {
            boost::intrusive_ptr<Buffer> const made(new Buffer(size, alignment));
            ++figures_.inUse;
            return made;
        }
        boost::intrusive_ptr<Buffer> const taken(shelf.back().release());
        shelf.pop_back();
        ++figures_.inUse;
        ++figures_.reused;
        return taken;
    }

    void GiveBack(Buffer* block) {
        std::unique_ptr<Buffer> owned(block);
        // Whoever reads on sees that.
        std::memset(block->GetData(), 0xDD, block->GetSize());
        std::lock_guard<std::mutex> const guard(lock_);
        --figures_.inUse;
        shelves_[{block->size_, block->alignment_}].push_back(std::move(owned));
    }

    Harbour::PoolFigures GetFigures() {
        std::lock_guard<std::mutex> const guard(lock_);
        return figures_;
    }

private:
    std::mutex lock_;
    std::map<std::pair<std::size_t, std::size_t>, std::vector<std::unique_ptr<Buffer>>> shelves_;
    Harbour::PoolFigures figures_;
};

Buffer::Buffer(std::size_t size, std::size_t alignment)
    : size_(size), alignment_(alignment), memory_(new std::uint8_t[size + alignment]) {
    void* start = memory_.get();
    std::size_t space = size + alignment;
    aligned_ = static_cast<std::uint8_t*>(std::align(alignment, size, start, space));
}

Buffer::~Buffer() = default;

boost::intrusive_ptr<Buffer> Buffer::Create(std::size_t size, std::size_t alignment) {
    return Pool::Instance().Take(size, alignment);
}

void Buffer::Dispose() {
    Pool::Instance().GiveBack(this);
}

// --- log

namespace {

/// All that was ever logged. Lives to the end of the process.
struct Journal {
    static Journal& Instance() {
        static auto* const journal = new Journal;
        return *journal;
    }

    std::mutex lock;
    std::set<std::string> channels;
    std::vector<std::string> texts;
};

} // namespace

LogExec::LogExec(LogLevel_t const& level, std::string const& text) : text_(text), level_(level) {}

LogExec& LogExec::operator%(long long argument) {
    text_ += " | " + std::to_string(argument);
    return *this;
}

void LogExec::At(CodeLocation const& location) {
    text_ = std::string(location.inside) + ": " + text_;
}

LoggerFacade::LoggerFacade(std::string channel) : channel_(std::move(channel)) {}

bool LoggerFacade::IsEnabled(LogLevel_t level) const noexcept {
    return level == LogLevel_t::Info || level == LogLevel_t::Debug;
}

void LoggerFacade::Push(LogExec const& record) {
    Journal& journal = Journal::Instance();
    std::lock_guard<std::mutex> const guard(journal.lock);
    journal.texts.push_back(channel_ + ": " + record.text_);
}

LogManager& LogManager::Instance() {
    static LogManager manager;
    return manager;
}

std::shared_ptr<LoggerFacade> LogManager::GetLogger(std::string const& channel, void const* /*parent*/,
                                                    std::string const& /*configuration*/) {
    Journal& journal = Journal::Instance();
    std::lock_guard<std::mutex> const guard(journal.lock);
    journal.channels.insert(channel);
    return std::make_shared<LoggerFacade>(channel);
}

} // namespace Kovra

namespace Harbour {

PoolFigures GetPoolFigures() {
    return Kovra::Pool::Instance().GetFigures();
}

std::vector<std::string> GetLogTexts() {
    Kovra::Journal& journal = Kovra::Journal::Instance();
    std::lock_guard<std::mutex> const guard(journal.lock);
    return journal.texts;
}

std::vector<std::string> GetLogChannels() {
    Kovra::Journal& journal = Kovra::Journal::Instance();
    std::lock_guard<std::mutex> const guard(journal.lock);
    return {journal.channels.begin(), journal.channels.end()};
}

} // namespace Harbour
