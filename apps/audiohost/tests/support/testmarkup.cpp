#include "support/testmarkup.h"

#include <vector>

namespace AudioHost {

std::string FindMarkupError(std::string const& html) {
    std::vector<std::string> open;
    for (std::size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
        std::size_t const end = html.find('>', at);
        if (end == std::string::npos || html.find('<', at + 1) < end) {
            return "broken tag at " + html.substr(at, 40);
        }
        std::string const tag = html.substr(at + 1, end - at - 1);
        std::string const name = tag.substr(0, tag.find_first_of(" /", tag.front() == '/' ? 1 : 0));
        if (tag.front() == '!' || tag.back() == '/') {
            continue;
        }
        if (tag.front() != '/') {
            open.push_back(name);
        } else if (open.empty() || "/" + open.back() != name) {
            return "closes " + name + " in " + (open.empty() ? "nothing" : open.back());
        } else {
            open.pop_back();
        }
    }
    return open.empty() ? "" : open.back() + " stays open";
}

} // namespace AudioHost
