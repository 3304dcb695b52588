#pragma once

#include <string>
#include <type_traits>

#include "terminal/hosterror.h"

namespace AudioHost {

/// The code that `action` returns, if any, or that of the error which it ends with; the error's sentence goes
/// to `sentence`.
template <typename Action>
ExitCode_t CodeOf(Action const& action, std::string* sentence = nullptr) {
    try {
        if constexpr (std::is_same_v<decltype(action()), ExitCode_t>) {
            return action();
        } else {
            action();
            return ExitCode_t::Ok;
        }
    } catch (HostError const& error) {
        if (sentence != nullptr) {
            *sentence = error.what();
        }
        return error.GetCode();
    }
}

} // namespace AudioHost
