#include "bench/support/ReferenceNode.h"

#include <random>

namespace reference_workload {
Beam beam(int b)
{
    return {float(20 + 8 * b), float(20 * b), b % kPatternCount};
}
} // namespace reference_workload

using namespace reference_workload;

ReferenceNode::ReferenceNode()
    : patterns(kBeams), in(kCapsules, std::vector<float>(kBlock)), out(kBeams, std::vector<float>(kBlock))
{
    configured = zirc.setFormat(vkAudioInterface::timeDomain(kCapsules, kRate, kBlock),
                                vkAudioInterface::timeDomain(kBeams, kRate, kBlock))
                 == vkOk;
    for (int b = 0; b < kBeams; ++b) {
        const Beam setting = beam(b);
        patterns[std::size_t(b)] = setting.pattern;
        zirc.setChannelParameter(b, CZirc::kPattern, &patterns[std::size_t(b)], 1, vkTypeInt);
        zirc.setTheta(b, setting.theta);
        zirc.setPhi(b, setting.phi);
    }
    std::mt19937 rng(11);
    std::normal_distribution<float> g(0.0f, 0.1f);
    for (auto& c : in) {
        for (float& x : c)
            x = g(rng);
        inPointers.push_back(c.data());
    }
    for (auto& c : out)
        outPointers.push_back(c.data());
}
