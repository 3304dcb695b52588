#pragma once

#include <vector>

#include "listening/samples.h"
#include "support/recording/disturbance.h"

namespace SystemTest {

/// What the pilot plays, over and over: a second of three tones above all test sounds, in which none has a
/// seam. It goes to the output past the module, so that what breaks it is the output's doing and cannot be
/// the module's.
Listening::Samples MakePilotSound();

/// The stretches of a recording of the pilot, other sounds among it, in which the output was disturbed:
/// silent, or somewhere else than before. They reach from a little before the break, since the module moves
/// its cursor ahead of what is heard, to half a second behind it, in which the module comes to itself again.
std::vector<TestSupport::Disturbance> FindOutages(Listening::SampleView heard);

/// `sound` without the pilot's pitches. What is below 6 kHz stays, up to 6 dB fainter towards the upper
/// end: for levels to be compared with those of another sound treated likewise. Three samples shorter at
/// either end.
Listening::Samples WithoutPilot(Listening::SampleView sound);

} // namespace SystemTest
