#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "simulation/call.h"
#include "simulation/win32/dsoundheaders.h"
#include "simulation/win32/invocation.h"

namespace Simulation {

/// What every simulated COM object does in each call: hold the platform's mutex, consult the fault plan,
/// write the journal, count references, and report a call that comes after the last release. The class that
/// implements the interface inherits it.
class ComObject {
public:
    /// `kind` is what messages call the object, before its number.
    ComObject(World& world, char const* kind, std::uint32_t number)
        : world_(world), kind_(kind), number_(number) {}
    ComObject(ComObject const&) = delete;
    ComObject& operator=(ComObject const&) = delete;

    World& GetWorld() const { return world_; }
    std::uint32_t Number() const { return number_; }
    /// Such as "sound buffer 1".
    std::string Name() const { return kind_ + (" " + std::to_string(number_)); }

    /// Does one call: `work`, which gives an HRESULT, unless a fault is planned or the object is dead.
    template <class Work>
    HRESULT Call(Call_t call, std::uint32_t const& references, std::initializer_list<std::int64_t> arguments,
                 Work work) {
        Invocation invocation(world_, call, number_, arguments);
        if (!IsAlive(references, call)) {
            return invocation.Return(E_FAIL);
        }
        return invocation.Return(invocation.Fault() ? invocation.FaultResult() : work());
    }

    ULONG AddReference(Call_t call, std::uint32_t& references) {
        return Count(call, references, 1, [] {});
    }

    /// `afterwards` runs when the reference is gone, the platform's mutex held.
    template <class Afterwards>
    ULONG DropReference(Call_t call, std::uint32_t& references, Afterwards afterwards) {
        return Count(call, references, -1, afterwards);
    }

    /// For an object whose end frees the buffers it has made: reports those that somebody still holds.
    template <class Buffer>
    void ReportHeld(std::vector<Buffer*> const& made) const {
        for (Buffer* const buffer : made) {
            if (buffer->Model().references != 0) {
                world_.ReportMisuse(Name() + " released before its " + buffer->Name());
            }
        }
    }

private:
    /// False, with misuse reported, when the object called has no reference.
    bool IsAlive(std::uint32_t references, Call_t call) const {
        if (references == 0) {
            world_.ReportMisuse(std::string(ToString(call)) + " on " + Name() + " after its last release");
        }
        return references != 0;
    }

    template <class Afterwards>
    ULONG Count(Call_t call, std::uint32_t& references, int difference, Afterwards afterwards) {
        Invocation invocation(world_, call, number_, {});
        if (!IsAlive(references, call)) {
            return 0;
        }
        references = static_cast<std::uint32_t>(static_cast<int>(references) + difference);
        afterwards();
        return invocation.Return<ULONG>(references, references, false);
    }

    World& world_;
    char const* const kind_;
    std::uint32_t const number_;
};

} // namespace Simulation
