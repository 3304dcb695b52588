#include "testsignals.h"

#include <algorithm>
#include <cmath>

namespace CodecTest {

namespace {

/// Least squares of s[i] = a sin(w i) + b cos(w i).
struct SineFit {
    double sinePart = 0;
    double cosinePart = 0;
    double residualPower = 0;
    double fittedPower = 0;
};

SineFit Fit(Samples const& signal, double frequencyHz, double rateHz) {
    double const step = 2 * Pi * frequencyHz / rateHz;
    double ss = 0, sc = 0, cc = 0, sx = 0, cx = 0;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        double const s = std::sin(step * static_cast<double>(i));
        double const c = std::cos(step * static_cast<double>(i));
        ss += s * s;
        sc += s * c;
        cc += c * c;
        sx += s * signal[i];
        cx += c * signal[i];
    }
    double const determinant = ss * cc - sc * sc;
    SineFit fit;
    fit.sinePart = (sx * cc - cx * sc) / determinant;
    fit.cosinePart = (cx * ss - sx * sc) / determinant;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        double const value = fit.sinePart * std::sin(step * static_cast<double>(i)) +
                             fit.cosinePart * std::cos(step * static_cast<double>(i));
        fit.fittedPower += value * value;
        fit.residualPower += (signal[i] - value) * (signal[i] - value);
    }
    return fit;
}

} // namespace

Samples MakeSine(double frequencyHz, double rateHz, std::size_t count, double amplitude) {
    Samples sine(count);
    for (std::size_t i = 0; i < count; ++i) {
        sine[i] = static_cast<std::int16_t>(
            std::lround(amplitude * std::sin(2 * Pi * frequencyHz * static_cast<double>(i) / rateHz)));
    }
    return sine;
}

Samples Piece(Samples const& signal, std::size_t index, std::size_t sampleCount) {
    auto const begin = signal.begin() + static_cast<std::ptrdiff_t>(index * sampleCount);
    return {begin, begin + static_cast<std::ptrdiff_t>(sampleCount)};
}

double SineToNoise(Samples const& signal, double frequencyHz, double rateHz) {
    SineFit const fit = Fit(signal, frequencyHz, rateHz);
    return 10 * std::log10(fit.fittedPower / std::max(fit.residualPower, 1e-9));
}

double SineAmplitude(Samples const& signal, double frequencyHz, double rateHz) {
    SineFit const fit = Fit(signal, frequencyHz, rateHz);
    return std::hypot(fit.sinePart, fit.cosinePart);
}

Samples From(Samples const& signal, std::size_t skip) {
    return {signal.begin() + static_cast<std::ptrdiff_t>(std::min(skip, signal.size())), signal.end()};
}

} // namespace CodecTest
