#include "simulation/world.h"

#include <algorithm>
#include <utility>

#include "simulation/com/capturebufferinterface.h"
#include "simulation/com/captureinterface.h"
#include "simulation/com/directsoundinterface.h"
#include "simulation/com/soundbufferinterface.h"
#include "simulation/win32/fatal.h"

namespace Simulation {

namespace {

World* current = nullptr;

template <class Interface>
using Owned = std::vector<std::unique_ptr<Interface>>;

/// The models of those that are picked, in the order in which they were made.
template <class Interface, class Predicate>
auto ModelsOf(Owned<Interface> const& interfaces, Predicate isPicked) {
    PlatformLock const lock(PlatformMutex());
    std::vector<decltype(&interfaces.front()->Model())> models;
    for (auto const& interface_ : interfaces) {
        if (isPicked(interface_->Model())) {
            models.push_back(&interface_->Model());
        }
    }
    return models;
}

bool IsAny(DeviceBuffer const&) {
    return true;
}

bool IsLive(DeviceBuffer const& buffer) {
    return buffer.references != 0;
}

bool IsLiveSound(SoundBuffer const& buffer) {
    return IsLive(buffer) || buffer.notifyReferences != 0;
}

template <class Model>
Model& Only(std::vector<Model*> const& models, char const* caller) {
    if (models.size() != 1) {
        Fatal(std::string(caller) + ": there are " + std::to_string(models.size()));
    }
    return *models.front();
}

template <class Model>
Model& Latest(std::vector<Model*> const& models, char const* caller) {
    if (models.empty()) {
        Fatal(std::string(caller) + ": none was made");
    }
    return *models.back();
}

template <class Interface>
std::size_t CountLive(Owned<Interface> const& objects) {
    PlatformLock const lock(PlatformMutex());
    return static_cast<std::size_t>(std::count_if(
        objects.begin(), objects.end(), [](auto const& object) { return object->References() != 0; }));
}

template <class Interface>
std::size_t CountAll(Owned<Interface> const& objects) {
    PlatformLock const lock(PlatformMutex());
    return objects.size();
}

template <class Interface>
std::uint32_t LatestReferences(Owned<Interface> const& objects) {
    PlatformLock const lock(PlatformMutex());
    return objects.empty() ? 0 : objects.back()->References();
}

template <class Interface, class... Description>
Interface& Make(World& world, Owned<Interface>& objects, Description const&... description) {
    auto const number = static_cast<std::uint32_t>(objects.size() + 1);
    return *objects.emplace_back(std::make_unique<Interface>(world, number, description...));
}

/// Adds what is left of `count` references or locks, as `what` names them.
void AddLeak(std::vector<std::string>& leaks, ComObject const& object, std::size_t count, char const* what) {
    if (count != 0) {
        leaks.push_back(object.Name() + " has " + std::to_string(count) + " " + what);
    }
}

} // namespace

World::World(Reporter reporter)
    : reporter_(reporter != nullptr ? std::move(reporter) : Reporter(Fatal)),
      device_(speakers_),
      captureDevice_(microphone_, clock_),
      scheduler_(*this, clock_) {
    PlatformLock const lock(PlatformMutex());
    if (current != nullptr) {
        Fatal("there is a World already");
    }
    clock_.SetDriver(this);
    clock_.SetShaker(&shaker_);
    current = this;
}

World::~World() {
    for (std::string const& leak : Leaks()) {
        reporter_("leak: " + leak);
    }
    PlatformLock const lock(PlatformMutex());
    if (scheduler_.BlockedThreads() != 0) {
        Fatal("the World ends under threads that wait in it");
    }
    clock_.SetDriver(nullptr);
    clock_.SetShaker(nullptr);
    current = nullptr;
}

World& World::Current(char const* caller) {
    PlatformLock const lock(PlatformMutex());
    if (current == nullptr) {
        Fatal(std::string(caller) + " is called with no World");
    }
    return *current;
}

World* World::Find() {
    return current;
}

// --- sound

std::vector<SoundBuffer*> World::Buffers() const {
    return ModelsOf(buffers_, IsAny);
}

std::vector<SoundBuffer*> World::LiveBuffers() const {
    return ModelsOf(buffers_, IsLiveSound);
}

SoundBuffer& World::OnlyBuffer() const {
    return Only(LiveBuffers(), "OnlyBuffer");
}

SoundBuffer& World::LatestBuffer() const {
    return Latest(Buffers(), "LatestBuffer");
}

std::size_t World::LiveSounds() const {
    return CountLive(sounds_);
}

std::size_t World::SoundCount() const {
    return CountAll(sounds_);
}

DWORD World::CooperativeLevel() const {
    PlatformLock const lock(PlatformMutex());
    return sounds_.empty() ? 0 : sounds_.back()->Level();
}

HWND World::CooperativeWindow() const {
    PlatformLock const lock(PlatformMutex());
    return sounds_.empty() ? nullptr : sounds_.back()->Window();
}

std::uint32_t World::SoundReferences() const {
    return LatestReferences(sounds_);
}

HWND World::DesktopWindow() {
    constexpr std::uintptr_t Value = 0x10010;
    return reinterpret_cast<HWND>(Value);
}

DirectSoundInterface& World::MakeSound() {
    return Make(*this, sounds_);
}

SoundBufferInterface& World::MakeBuffer(DSBUFFERDESC const& description) {
    return Make(*this, buffers_, description);
}

std::int64_t World::NextDeviceEventNanoSec() const {
    std::int64_t next = INT64_MAX;
    for (auto const& buffer : buffers_) {
        next = std::min(next, buffer->Model().NextEventNanoSec());
    }
    return next;
}

void World::RunDeviceEvent(std::int64_t nanoSec) {
    for (auto const& buffer : buffers_) {
        if (buffer->Model().NextEventNanoSec() <= nanoSec) {
            buffer->Model().RunEvent(nanoSec);
            return;
        }
    }
}

void World::RunUntil(std::int64_t targetNanoSec) {
    PlatformLock lock(PlatformMutex());
    scheduler_.RunUntil(lock, targetNanoSec);
}

// --- capture

std::vector<CaptureBuffer*> World::CaptureBuffers() const {
    return ModelsOf(captureBuffers_, IsAny);
}

std::vector<CaptureBuffer*> World::LiveCaptureBuffers() const {
    return ModelsOf(captureBuffers_, IsLive);
}

CaptureBuffer& World::OnlyCaptureBuffer() const {
    return Only(LiveCaptureBuffers(), "OnlyCaptureBuffer");
}

CaptureBuffer& World::LatestCaptureBuffer() const {
    return Latest(CaptureBuffers(), "LatestCaptureBuffer");
}

std::size_t World::LiveCaptures() const {
    return CountLive(captures_);
}

std::size_t World::CaptureCount() const {
    return CountAll(captures_);
}

std::uint32_t World::CaptureReferences() const {
    return LatestReferences(captures_);
}

CaptureInterface& World::MakeCapture() {
    return Make(*this, captures_);
}

CaptureBufferInterface& World::MakeCaptureBuffer(DSCBUFFERDESC const& description) {
    return Make(*this, captureBuffers_, description);
}

// --- Win32 events and threads

std::size_t World::OpenHandles() const {
    PlatformLock const lock(PlatformMutex());
    return events_.OpenCount();
}

bool World::IsSignalled(HANDLE handle) const {
    PlatformLock const lock(PlatformMutex());
    EventObject const* const event = events_.Find(handle);
    return event != nullptr && event->isSignalled;
}

std::uint32_t World::EventNumber(HANDLE handle) const {
    PlatformLock const lock(PlatformMutex());
    return events_.NumberOf(handle);
}

void World::WaitForBlockedThreads(std::size_t count) {
    PlatformLock lock(PlatformMutex());
    scheduler_.WaitUntil(
        lock, [this, count] { return scheduler_.IsQuiet() && scheduler_.BlockedThreads() == count; },
        std::to_string(count) + " blocked threads");
}

void World::WaitForBlockedThread(std::string const& name) {
    PlatformLock lock(PlatformMutex());
    scheduler_.WaitUntil(
        lock, [this, &name] { return scheduler_.IsBlocked(name); }, "a blocked thread '" + name + "'");
}

void World::WaitForWaitCalls(std::uint64_t count) {
    PlatformLock lock(PlatformMutex());
    scheduler_.WaitUntil(
        lock, [this, count] { return scheduler_.WaitCalls() >= count; },
        std::to_string(count) + " calls of WaitForMultipleObjects");
}

std::uint64_t World::WaitCalls() const {
    PlatformLock const lock(PlatformMutex());
    return scheduler_.WaitCalls();
}

std::size_t World::BlockedThreads() const {
    PlatformLock const lock(PlatformMutex());
    return scheduler_.BlockedThreads();
}

// --- complaints

void World::AllowMisuse(bool isAllowed) {
    PlatformLock const lock(PlatformMutex());
    isMisuseAllowed_ = isAllowed;
}

void World::ReportMisuse(std::string const& text) {
    misuse_.push_back(text);
    if (!isMisuseAllowed_) {
        reporter_("misuse: " + text);
    }
}

std::vector<std::string> World::Misuse() const {
    PlatformLock const lock(PlatformMutex());
    return misuse_;
}

std::vector<std::string> World::TakeMisuse() {
    PlatformLock const lock(PlatformMutex());
    return std::exchange(misuse_, {});
}

std::vector<std::string> World::Leaks() const {
    PlatformLock const lock(PlatformMutex());
    std::vector<std::string> leaks;
    for (auto const& sound : sounds_) {
        AddLeak(leaks, *sound, sound->References(), "references");
    }
    for (auto const& buffer : buffers_) {
        AddLeak(leaks, *buffer, buffer->References(), "references");
        AddLeak(leaks, *buffer, buffer->Model().notifyReferences, "references to its notify interface");
        AddLeak(leaks, *buffer, buffer->Model().OpenLockCount(), "open locks");
    }
    for (auto const& capture : captures_) {
        AddLeak(leaks, *capture, capture->References(), "references");
    }
    for (auto const& buffer : captureBuffers_) {
        AddLeak(leaks, *buffer, buffer->References(), "references");
        AddLeak(leaks, *buffer, buffer->Model().OpenLockCount(), "open locks");
    }
    for (EventObject const& event : events_.All()) {
        if (event.isOpen) {
            leaks.push_back("event " + std::to_string(event.number) + " is not closed");
        }
    }
    return leaks;
}

} // namespace Simulation
