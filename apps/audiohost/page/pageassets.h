#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace AudioHost {

/// A part of the page that is the same in every report. The build puts it into the program
/// (page/embed.cmake).
struct PageAsset {
    std::string_view text;
    /// Of `text`, byte by byte.
    std::array<std::uint8_t, 32> sha256{};
};

PageAsset PageScript();
PageAsset PageStyle();
/// The licence of the charts' library.
PageAsset PageNotice();

} // namespace AudioHost
