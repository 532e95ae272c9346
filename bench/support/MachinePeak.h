#pragma once
// The machine's own double-precision multiply-add peak, measured in this process, so
// that benchmarks can report what they reach as a fraction of it.

// Multiply-adds per second on the widest vector unit of the running processor, with
// enough independent chains to hide the latency. Measured on the first call (a few tens
// of milliseconds of processor time) and cached; safe to call from several threads.
double vkMachinePeakMacsPerSecond();

// Processor time of the calling thread in seconds: the clock the peak is measured by.
// Time the thread spends descheduled on a busy machine does not count, so figures
// measured by it hold while other work shares the processor.
double vkThreadCpuSeconds();
