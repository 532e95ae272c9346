#pragma once
// Nearest integer with ties upward (2.5 gives 3, -2.5 gives -2), the rounding the faders
// and scales use wherever a value is said to be rounded.

inline int vkRound(double x)
{
    if (x >= 0.0)
        return static_cast<int>(x + 0.5);
    const int k = static_cast<int>(x - 1.0);
    return k + static_cast<int>(x - k + 0.5);
}
