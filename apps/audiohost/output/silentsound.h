#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace AudioHost {

/// A silent sound of the host's own that plays over and over, beside the renderer's.
///
/// **Threads:** one at a time.
/// **Units:** nanoseconds.
class SilentSound {
public:
    virtual ~SilentSound() = default;

    /// How far into the sound the output is, from 0 up to `GetLengthNanoSec`, where it begins anew; nothing
    /// when the output does not tell.
    virtual std::optional<std::int64_t> GetPositionNanoSec() = 0;
    virtual std::int64_t GetLengthNanoSec() const = 0;
    /// Lets the few milliseconds pass that the position may be left alone.
    virtual void Rest() = 0;
};

/// The output device, as far as the host needs it beside the renderer.
class OutputAccess {
public:
    virtual ~OutputAccess() = default;

    /// Starts a silent sound; null when there is no output, or none that can be opened.
    virtual std::unique_ptr<SilentSound> Open() = 0;
};

} // namespace AudioHost
