#pragma once
// Signals and run loops shared by the plug-in tests: seeded noise, and a whole input run
// through a test host in calls of given lengths, as a host's audio thread would, with the
// worker served and the notifications kept after each call.

#include "tests/lv2/CLv2TestHost.h"

#include <algorithm>
#include <random>
#include <vector>

namespace lv2_runs {

using Channels = std::vector<std::vector<float>>;

inline Channels noise(int channels, long frames, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-0.25f, 0.25f);
    Channels c(static_cast<std::size_t>(channels), std::vector<float>(static_cast<std::size_t>(frames)));
    for (auto& channel : c)
        for (float& s : channel)
            s = value(random);
    return c;
}

// `before(done)` runs before each call with the frames done so far.
template <class Before>
Channels runInCalls(CLv2TestHost& host, const Channels& in, const std::vector<int>& lengths, Before&& before)
{
    const long frames = long(in[0].size());
    Channels out(static_cast<std::size_t>(host.audioOutputs()), std::vector<float>(static_cast<std::size_t>(frames)));
    long done = 0;
    for (std::size_t k = 0; done < frames; ++k) {
        const int n = int(std::min<long>(lengths[k % lengths.size()], frames - done));
        before(done);
        host.run(in, out, done, n);
        host.collectNotifications();
        host.runWork();
        done += n;
    }
    return out;
}

inline Channels runInCalls(CLv2TestHost& host, const Channels& in, const std::vector<int>& lengths)
{
    return runInCalls(host, in, lengths, [](long) {});
}

} // namespace lv2_runs
