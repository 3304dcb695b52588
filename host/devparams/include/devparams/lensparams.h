#pragma once

/// What is known of devices.
namespace Dev {

/// Lens model of a camera whose picture a client looks at. Audio takes no part in it: the default, an ideal
/// lens, is all that it makes.
struct LensParams {
    /// Radial distortion coefficients, dimensionless; zero is an ideal lens.
    double radial[2] = {0.0, 0.0};
    /// Field of view across the picture's width, in degrees; 0 when unknown.
    double fieldOfViewDegrees = 0.0;
};

} // namespace Dev
