#pragma once
// FFTW's planner keeps global state and is not thread-safe: every plan of this library
// is made and destroyed while holding this lock (control threads only). Executing a
// plan with the new-array functions is thread-safe and allocates nothing, so the audio
// thread runs plans without it.

#include <mutex>

std::mutex& fftwPlannerMutex();
