#pragma once
// Marks a loop-heavy function for a second build with AVX2 and FMA on x86-64, picked
// when the program starts. Left out under the thread sanitizer, whose runtime is not
// ready when the start-up choice runs, and under Clang: Clang 14 names the dispatcher
// apart from the function, so calls from other files do not reach it (they fail to link,
// or with the mark on the declaration, run the wrong code); there the function is built
// once, for the baseline processor.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#define VK_VECTOR_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define VK_VECTOR_CLONES
#endif
