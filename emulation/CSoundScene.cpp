#include "emulation/CSoundScene.h"

#include "array/CapsuleGeometry.h"
#include "core/primitives/ipps.h"
#include "emulation/CapsuleFilterDesign.h"

#include <algorithm>

namespace {
double cosAngleToCapsule(int capsule, const UnitVector& source)
{
    const UnitVector c = capsuleUnitVector(capsule);
    return c.x * source.x + c.y * source.y + c.z * source.z;
}
} // namespace

CSoundScene::CSoundScene(double sampleRate, double radius)
    : mSampleRate(sampleRate)
    , mRadius(radius)
{
    mGains.fill(1.0f);
}

CSoundScene::~CSoundScene() = default;

CSoundScene::Source::~Source()
{
    for (IppsFIRState_32f* filter : filters)
        if (filter)
            ippsFIRFree_32f(filter);
}

void CSoundScene::addDefaultSources(CSoundScene& scene)
{
    const double rate = scene.sampleRate();
    scene.addSource(90.0f, 30.0f, CSceneSignal(CSceneSignal::Kind::Melody, rate, 0.125f));
    scene.addSource(60.0f, 150.0f, CSceneSignal(CSceneSignal::Kind::Percussion, rate, 0.125f, 7));
    scene.addSource(120.0f, 270.0f, CSceneSignal(CSceneSignal::Kind::Warble, rate, 0.1f));
}

int CSoundScene::addSource(float thetaDegrees, float phiDegrees, const CSceneSignal& signal)
{
    auto source = std::make_unique<Source>(signal);
    const UnitVector direction = unitVectorFromAngles(thetaDegrees, phiDegrees);
    for (int c = 0; c < kCapsules; ++c) {
        const std::vector<float> taps = capsule_filter::design(cosAngleToCapsule(c, direction), mRadius, mSampleRate);
        if (ippsFIRInitAlloc_32f(&source->filters[c], taps.data(), capsule_filter::kTaps, nullptr) != ippStsNoErr)
            return -1;
    }
    // The dry signal is delayed as the centre of the sphere hears it.
    if (source->dryDelay.setDelay(capsule_filter::kBulkDelay) != 0)
        return -1;
    mSources.push_back(std::move(source));
    return sourceCount() - 1;
}

void CSoundScene::setCapsuleGains(const float* gains)
{
    std::copy(gains, gains + kCapsules, mGains.begin());
}

void CSoundScene::render(float** capsules, int frames, float** dry)
{
    for (int offset = 0; offset < frames; offset += kChunk)
        renderChunk(capsules, offset, std::min(kChunk, frames - offset), dry);
}

void CSoundScene::renderChunk(float** capsules, int offset, int frames, float** dry)
{
    for (int c = 0; c < kCapsules; ++c)
        ippsZero_32f(capsules[c] + offset, frames);
    for (std::size_t s = 0; s < mSources.size(); ++s) {
        Source& source = *mSources[s];
        source.signal.generate(mSignal.data(), frames);
        for (int c = 0; c < kCapsules; ++c) {
            ippsFIR_32f(mSignal.data(), mFiltered.data(), frames, source.filters[c]);
            ippsAddProductC_32f(mFiltered.data(), mGains[c], capsules[c] + offset, frames);
        }
        if (dry)
            source.dryDelay.process(mSignal.data(), dry[s] + offset, frames);
    }
}

void CSoundScene::reset()
{
    for (auto& source : mSources) {
        source->signal.reset();
        for (IppsFIRState_32f* filter : source->filters)
            ippsFIRSetDlyLine_32f(filter, nullptr);
        source->dryDelay.setDelay(capsule_filter::kBulkDelay);
    }
}
