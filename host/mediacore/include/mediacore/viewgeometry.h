#pragma once

namespace Media {

/// The part of a picture that a client looks at. Audio takes no part in it.
struct ViewGeometry {
    constexpr ViewGeometry(int width_, int height_, double left_, double top_, double right_, double bottom_,
                           bool mirrored_, bool flipped_)
        : width(width_),
          height(height_),
          left(left_),
          top(top_),
          right(right_),
          bottom(bottom_),
          mirrored(mirrored_),
          flipped(flipped_) {}

    /// Size in pixels; 0 when unknown.
    int width;
    int height;
    /// Edges as shares of the picture, 0.0 to 1.0.
    double left;
    double top;
    double right;
    double bottom;
    bool mirrored;
    bool flipped;
};

} // namespace Media
