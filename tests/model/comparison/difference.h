#pragma once

#include <string>
#include <type_traits>

namespace ModelTest {

/// In what module and model differ: the first thing that was found, in words.
class Difference {
public:
    bool IsNone() const { return text_.empty(); }
    std::string const& Text() const { return text_; }

    /// False, with a report, when the two are not the same.
    template <class Actual, class Expected>
    bool Check(char const* what, Actual const& actual, Expected const& expected) {
        if (actual == expected) {
            return true;
        }
        Report(what, ValueText(actual), ValueText(expected));
        return false;
    }

    void Report(std::string const& what, std::string const& actual, std::string const& expected) {
        if (IsNone()) {
            text_ = what + ": the module has " + actual + ", the model " + expected;
        }
    }

private:
    template <class Value>
    static std::string ValueText(Value const& value) {
        if constexpr (std::is_pointer_v<Value> || std::is_null_pointer_v<Value>) {
            return value == nullptr ? "null" : "an address";
        } else {
            return std::to_string(value);
        }
    }

    std::string text_;
};

} // namespace ModelTest
