#include "simulation/calljournal.h"

#include <algorithm>
#include <cstdio>

#include "simulation/win32/platformmutex.h"

namespace Simulation {

std::string CallRecord::Text() const {
    std::string text = ToShortString(call);
    // The short name of a QueryInterface carries the interface as its argument.
    if (text.back() != ')') {
        text += '(';
        for (std::uint32_t i = 0; i < argumentCount; ++i) {
            text += (i == 0 ? "" : ", ") + std::to_string(arguments[i]);
        }
        text += ')';
    }
    if (hasFailed) {
        char number[24];
        std::snprintf(number, sizeof number, " = 0x%08llx", static_cast<unsigned long long>(result));
        text += number;
    }
    return text;
}

void CallJournal::Enable(bool isEnabled) {
    PlatformLock const lock(PlatformMutex());
    isEnabled_ = isEnabled;
}

void CallJournal::Clear() {
    PlatformLock const lock(PlatformMutex());
    records_.clear();
}

std::vector<CallRecord> CallJournal::Records(CallSet const& calls, std::uint32_t object) const {
    PlatformLock const lock(PlatformMutex());
    std::vector<CallRecord> picked;
    std::copy_if(records_.begin(), records_.end(), std::back_inserter(picked),
                 [&calls, object](CallRecord const& record) {
                     return calls.Contains(record.call) && (object == 0 || record.object == object);
                 });
    return picked;
}

std::vector<std::string> CallJournal::Texts(CallSet const& calls, std::uint32_t object) const {
    std::vector<std::string> texts;
    for (CallRecord const& record : Records(calls, object)) {
        texts.push_back(record.Text());
    }
    return texts;
}

} // namespace Simulation
