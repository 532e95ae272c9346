// The bundle's one exported symbol: the plug-ins' descriptors, in the manifest's order.

#include "plugins/lv2/CBeamformerPlugin.h"
#include "plugins/lv2/CBinauralPlugin.h"
#include "plugins/lv2/CEncoderPlugin.h"
#include "plugins/lv2/CLv2Entry.h"

extern "C" LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index)
{
    static const LV2_Descriptor descriptors[] = {
        CLv2Entry<CBeamformerPlugin>::descriptor(vk_lv2::kBeamformerUri),
        CLv2Entry<CBinauralPlugin>::descriptor(vk_lv2::kBinauralUri),
        CLv2Entry<CEncoderPlugin>::descriptor(vk_lv2::kEncoderUri),
    };
    return index < sizeof descriptors / sizeof descriptors[0] ? &descriptors[index] : nullptr;
}
