#pragma once

namespace Media {

/// The shell of what must let no exception out: the exported operations, and the functions of the module's
/// threads. Gives what `operation` gives, and `onFailure` when it throws anything, as libraries of the host
/// and memory that has run out may.
template <class Result, class Operation>
Result Guarded(Result onFailure, Operation const& operation) noexcept {
    try {
        return operation();
    } catch (...) {
        return onFailure;
    }
}

template <class Operation>
void Guarded(Operation const& operation) noexcept {
    try {
        operation();
    } catch (...) {
        // What it was to do is not done, and nobody is told.
    }
}

} // namespace Media
