#include "schedule.h"

#include <sstream>
#include <stdexcept>

namespace Schedules {

Schedule Schedule::Parse(std::string const& text) {
    Schedule schedule;
    std::istringstream words(text);
    std::string word;
    auto* numbers = &schedule.order;
    while (words >> word) {
        std::size_t const colon = word.find(':');
        if (word == "order") {
            numbers = &schedule.order;
        } else if (word == "changes") {
            numbers = &schedule.changes;
        } else if (colon == std::string::npos) {
            numbers->push_back(static_cast<std::uint32_t>(std::stoul(word)));
        } else {
            schedule.decisions.push_back({static_cast<std::uint32_t>(std::stoul(word.substr(0, colon))),
                                          static_cast<ThreadId>(std::stoul(word.substr(colon + 1)))});
        }
    }
    return schedule;
}

std::string Schedule::ToText() const {
    std::string text;
    auto const add = [&text](std::string const& word) { text += (text.empty() ? "" : " ") + word; };
    for (Decision const decision : decisions) {
        add(std::to_string(decision.choice) + ":" + std::to_string(decision.thread));
    }
    if (!order.empty()) {
        add("order");
        for (ThreadId const thread : order) {
            add(std::to_string(thread));
        }
        add("changes");
        for (std::uint32_t const change : changes) {
            add(std::to_string(change));
        }
    }
    return text;
}

} // namespace Schedules
