#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "simulation/call.h"
#include "simulation/device/bufferdescription.h"
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

    /// The platform's mutex is held: where the references are counted, also by whoever hands the object out.
    virtual std::uint32_t& References() = 0;

    /// Does one call: `work`, which gives an HRESULT, unless a fault is planned or the object is dead.
    template <class Work>
    HRESULT Call(Call_t call, std::initializer_list<std::int64_t> arguments, Work work) {
        Invocation invocation(world_, call, number_, arguments);
        if (!IsAlive(call)) {
            return invocation.Return(E_FAIL);
        }
        return invocation.Return(invocation.Fault() ? invocation.FaultResult() : work());
    }

    /// A QueryInterface that `find` answers, which counts the reference too.
    template <class Find>
    HRESULT Query(Call_t call, void** object, Find find) {
        if (object != nullptr) {
            *object = nullptr;
        }
        return Call(call, {}, [&] { return object != nullptr ? find() : E_POINTER; });
    }

    ULONG AddReference(Call_t call) {
        return Count(call, 1, [] {});
    }

    /// `atEnd` runs when the last reference is gone, the platform's mutex held.
    template <class AtEnd>
    ULONG DropReference(Call_t call, AtEnd atEnd) {
        return Count(call, -1, [&] {
            if (References() == 0) {
                atEnd();
            }
        });
    }

    /// Makes a buffer: `make` gives its interface when the description is as it should be and `refuse` gives
    /// DS_OK.
    template <class Description, class Interface, class Refuse, class Make>
    HRESULT CreateBuffer(Call_t call, Description const* description, Interface** buffer,
                         IUnknown const* outer, Refuse refuse, Make make) {
        if (buffer != nullptr) {
            *buffer = nullptr;
        }
        std::int64_t const flags = description != nullptr ? description->dwFlags : 0;
        std::int64_t const bytes = description != nullptr ? description->dwBufferBytes : 0;
        return Call(call, {flags, bytes}, [&]() -> HRESULT {
            if (buffer == nullptr) {
                return DSERR_INVALIDPARAM;
            }
            if (outer != nullptr) {
                return DSERR_NOAGGREGATION;
            }
            if (HRESULT const refusal = refuse(); refusal != DS_OK) {
                return refusal;
            }
            DescriptionVerdict const verdict = JudgeDescription(description);
            if (!verdict.mistake.empty()) {
                world_.ReportMisuse(ToShortString(call) + (": " + verdict.mistake));
            }
            if (verdict.result == DS_OK) {
                auto* const made = make();
                made->References() = 1;
                *buffer = made;
            }
            return verdict.result;
        });
    }

    /// For an object whose end frees the buffers it has made: reports those that somebody still holds.
    template <class Buffer>
    void ReportHeld(std::vector<Buffer*> const& made) const {
        for (Buffer* const buffer : made) {
            if (buffer->References() != 0) {
                world_.ReportMisuse(Name() + " released before its " + buffer->Name());
            }
        }
    }

protected:
    ~ComObject() = default;

private:
    /// False, with misuse reported, when the object called has no reference.
    bool IsAlive(Call_t call) {
        if (References() == 0) {
            world_.ReportMisuse(std::string(ToString(call)) + " on " + Name() + " after its last release");
        }
        return References() != 0;
    }

    template <class Afterwards>
    ULONG Count(Call_t call, int difference, Afterwards afterwards) {
        Invocation invocation(world_, call, number_, {});
        if (!IsAlive(call)) {
            return 0;
        }
        References() = static_cast<std::uint32_t>(static_cast<int>(References()) + difference);
        afterwards();
        return invocation.Return<ULONG>(References(), References(), false);
    }

    World& world_;
    char const* const kind_;
    std::uint32_t const number_;
};

} // namespace Simulation
