#pragma once

#include <vector>

#include "listening/samples.h"

namespace Listening {

constexpr std::size_t MaxPatternSamples = 65536;

/// How alike `pattern` and each equally long stretch of `text` are: element k stands for the stretch that
/// starts at `text[k]`, from -1.0 (inverted) to 1.0 (the same but for its level). A stretch as good as silent
/// counts as 0.0. Empty when the pattern is empty, longer than the text or than `MaxPatternSamples`. Work
/// n log n.
std::vector<float> NormalisedCorrelation(SampleView pattern, SampleView text);
std::vector<float> NormalisedCorrelation(SignalView pattern, SignalView text);

/// `pattern` as it sounds when its player runs `speed` times as fast (0.999 is slower), about its middle,
/// at the same length.
Samples ChangeSpeed(SampleView pattern, double speed);

/// The value of `signal` at a place between its samples, by the four around it; 0 outside of it.
float ValueAt(SignalView signal, double place);
float ValueAt(SampleView sound, double place);
/// The same at `count` places, from `first` on; `step` is nearly 1.
Signal ValuesAt(SignalView signal, double first, double step, std::size_t count);

} // namespace Listening
