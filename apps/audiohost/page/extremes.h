#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace AudioHost {

/// Which points stand for a curve of `size` points: of each of `stretches` equal parts of it the lowest and
/// the highest, in the order of the curve. `value(i)` tells how high a point is; there are no fewer points
/// than parts.
template <class Value>
std::vector<std::size_t> FindExtremes(std::size_t size, std::size_t stretches, Value const& value) {
    std::vector<std::size_t> places;
    for (std::size_t stretch = 0; stretch < stretches; ++stretch) {
        std::size_t low = size * stretch / stretches;
        std::size_t high = low;
        for (std::size_t i = low + 1; i < size * (stretch + 1) / stretches; ++i) {
            low = value(i) < value(low) ? i : low;
            high = value(i) < value(high) ? high : i;
        }
        places.push_back(std::min(low, high));
        places.push_back(std::max(low, high));
    }
    return places;
}

} // namespace AudioHost
