#pragma once
// Abstract base of the factories that build and own a set of patterns.

class vkPatternFactory {
public:
    vkPatternFactory() = default;
    vkPatternFactory(const vkPatternFactory&) = delete;
    vkPatternFactory& operator=(const vkPatternFactory&) = delete;

    // Slot 0.
    virtual ~vkPatternFactory() = 0;
};
