#pragma once
// The machine's own double-precision multiply-add peak, measured in this process, so
// that benchmarks can report what they reach as a fraction of it.

// Multiply-adds per second on the widest vector unit of the running processor, with
// enough independent chains to hide the latency. Measured on the first call (about a
// quarter of a second) and cached; safe to call from several threads.
double vkMachinePeakMacsPerSecond();
