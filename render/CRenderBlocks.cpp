#include "render/CRenderBlocks.h"

#include <algorithm>

CPlanarBlock::CPlanarBlock(int channels, int frames)
    : mStorage(std::size_t(channels) * std::size_t(frames), 0.0f), mPointers(std::size_t(channels))
{
    for (int c = 0; c < channels; ++c)
        mPointers[std::size_t(c)] = mStorage.data() + std::size_t(c) * std::size_t(frames);
}

void CPlanarBlock::copyFrom(const float* const* source, int frames)
{
    for (std::size_t c = 0; c < mPointers.size(); ++c)
        std::copy_n(source[c], frames, mPointers[c]);
}
