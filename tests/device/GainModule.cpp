// A processing module as the driver layer loads it: an object that halves every channel,
// and a plain function that inverts them.

#include "core/contract/vkAudioClass.h"
#include "core/primitives/ipps.h"

namespace {

class HalfGain : public vkAudioClass {
public:
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override
    {
        for (int c = 0; c < mOutFormat.channels() && c < mInFormat.channels(); ++c)
            ippsMulC_32f(in[c], 0.5f, out[c], frames);
        return 0;
    }
};

} // namespace

extern "C" __attribute__((visibility("default"))) vkAudioClass* vkAPIobject()
{
    return new HalfGain;
}

extern "C" __attribute__((visibility("default"))) int vkAPIfunction(float** in, float** out, int frames)
{
    for (int i = 0; i < frames; ++i)
        out[0][i] = -in[0][i];
    return 0;
}
