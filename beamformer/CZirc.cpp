#include "beamformer/CZirc.h"

#include "beamformer/tables/EbfBiquads.h"
#include "beamformer/tables/EbfMatrix.h"
#include "beamformer/tables/EbfModeFilters.h"

#include <cstring>
#include <new>

namespace {

constexpr int kVersion = 10401;
constexpr int kNameBytes = 16;

const vkParameterName kChannelNames[CZirc::kParameterCount] = {"theta", "phi", "pattern", "mbfMode", "eqStatus"};
const int kChannelSizes[CZirc::kParameterCount] = {1, 1, 1, 1, 1};
const int kChannelTypes[CZirc::kParameterCount] = {vkTypeInt, vkTypeInt, vkTypeInt, vkTypeInt, vkTypeInt};

bool acceptedFormat(const vkAudioInterface& f)
{
    return f.isTimeDomain() && f.isSinglePrecision() && f.sampleRate() >= CZirc::kMinSampleRate
        && f.sampleRate() <= CZirc::kMaxSampleRate;
}

} // namespace

// Without the pattern library or the engine nothing can work; setFormat then gives 7 and
// the node never becomes usable.
CZirc::CZirc()
{
    mVersion = kVersion;
    setChannelParameterTable(kChannelNames, kChannelSizes, kChannelTypes, kParameterCount);
    mFactory.reset(new (std::nothrow) CZircFactory);
    mNumPatterns = mFactory ? mFactory->mNumPatterns : 0;
    mArray.reset(new (std::nothrow) CKorvane);
}

CZirc::~CZirc()
{
    mArray.reset();
    mFactory.reset();
}

int CZirc::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (!mArray || mNumPatterns == 0)
        return vkErrOutOfMemory;
    if (!acceptedFormat(in) || in.channels() != kInputChannels || !acceptedFormat(out) || out.channels() < 1
        || out.channels() > kMaxBeams || in.frameLength() != out.frameLength())
        return vkErrFormat;
    if (mArray->isStarted())
        return vkErrStarted;
    vkAudioClass::setFormat(in, out);
    const int beams = out.channels();
    mBeamCount = 0;
    mBeamPattern.reset(new (std::nothrow) const CZrPattern*[beams]());
    mBeamPatternIndex.reset(new (std::nothrow) int[beams]());
    mBeamParameterIndex.reset(new (std::nothrow) int[beams]());
    if (!mBeamPattern || !mBeamPatternIndex || !mBeamParameterIndex)
        return vkErrOutOfMemory;
    if (const int r = mArray->setFormat(in, out); r != vkOk)
        return r;
    mBeamCount = beams;
    if (const int r = mArray->setNumModes(kModes); r != vkOk)
        return r;
    if (const int r = loadTables(); r != vkOk)
        return r;
    // The present modes survive a new configuration; a mode that was refused leaves the
    // engine's own.
    setMbfMode(mMbfMode);
    setEqStatus(mEqStatus);
    return applyDefaults();
}

// The decomposition's constants, the filter mode and the delays of every stage.
int CZirc::loadTables()
{
    if (const int r = mArray->setModeWeights(ebfMatrixRows().data()); r != vkOk)
        return r;
    CEbf& ebf = mArray->ebf();
    if (const int r = ebf.setModeFir(kEbfModeFilters); r != vkOk)
        return r;
    if (mEbfFilterMode < 0 || mEbfFilterMode > 2)
        return vkErrRange;
    if (mEbfFilterMode != CEbf::kFilterNone) {
        const EbfBiquadSet& set = mEbfFilterMode == CEbf::kFilterBiquads ? kEbfBiquadsA : kEbfBiquadsB;
        if (const int r = ebf.setModeIir(set.sections, set.numSections); r != vkOk)
            return r;
    }
    if (const int r = mArray->setEbfFilterMode(mEbfFilterMode); r != vkOk)
        return r;
    if (const int r = mArray->setModalDelay(static_cast<float>((mFactory->mMaxModalTaps - 1) >> 1)); r != vkOk)
        return r;
    if (const int r = mArray->setCrossoverDelay(static_cast<float>((mFactory->mMaxCrossoverTaps - 1) >> 1));
        r != vkOk)
        return r;
    if (const int r = mArray->setEqDelay(static_cast<float>((mFactory->mMaxEqTaps - 1) >> 1)); r != vkOk)
        return r;
    mArray->setTotalDelay(mFactory->mMaxGroupDelay);
    return vkOk;
}

// Every beam active, at the equator at azimuth 0, "omni".
int CZirc::applyDefaults()
{
    const int theta = 90, phi = 0, pattern = kPatternOmni;
    for (int beam = 0; beam < mBeamCount; ++beam) {
        if (const int r = setBeamActive(beam, true); r != vkOk)
            return r;
        setChannelParameter(beam, kTheta, &theta, 1, vkTypeInt);
        setChannelParameter(beam, kPhi, &phi, 1, vkTypeInt);
        setChannelParameter(beam, kPattern, &pattern, 1, vkTypeInt);
    }
    return vkOk;
}

int CZirc::process(float** in, float** out, int frames)
{
    return mArray ? mArray->process(in, out, frames) : vkErrNotConfigured;
}

int CZirc::stop()
{
    return mArray ? mArray->stop() : vkOk;
}

int CZirc::start()
{
    return mArray ? mArray->start() : vkErrNotConfigured;
}

int CZirc::setTheta(int beam, float theta)
{
    if (!validBeam(beam))
        return kErrBeam;
    mArray->mbf(beam)->setTheta(theta);
    return vkOk;
}

int CZirc::setPhi(int beam, float phi)
{
    if (!validBeam(beam))
        return kErrBeam;
    mArray->mbf(beam)->setPhi(phi);
    return vkOk;
}

const CZrPattern* CZirc::zrPattern(int index) const
{
    // Every pattern of this library is a CZrPattern.
    return mFactory ? static_cast<const CZrPattern*>(mFactory->pattern(index)) : nullptr;
}

int CZirc::setPattern(int beam, int pattern)
{
    if (!validBeam(beam))
        return kErrBeam;
    mBeamPatternIndex[beam] = pattern;
    mBeamPattern[beam] = zrPattern(pattern);
    return mBeamPattern[beam] ? vkOk : vkErrRange;
}

// All loads go to spare banks, so this works while audio runs; the first refusal ends
// it and what was loaded by then stays.
int CZirc::setParameter(int beam, int parameter)
{
    if (!validBeam(beam))
        return kErrBeam;
    const CZrPattern* p = mBeamPattern[beam];
    if (!p || parameter < 0 || parameter >= p->mNumParameters)
        return vkErrRange;
    mBeamParameterIndex[beam] = parameter;
    const float* orderTaps[CMbf::kOrders];
    for (int n = 0; n < CMbf::kOrders; ++n)
        orderTaps[n] = p->modalRow(parameter, n);
    if (const int r = mArray->mbf(beam)->setOrderFilters(p->modalLengths(parameter), orderTaps); r != vkOk)
        return r;
    if (const int r = mArray->setHfType(beam, p->mHfType); r != vkOk)
        return r;
    if (const int r = mArray->setLowCrossover(beam, p->mCrossoverTaps, p->mLowCrossover); r != vkOk)
        return r;
    if (const int r = mArray->setHighCrossover(beam, p->mCrossoverTaps, p->mHighCrossover); r != vkOk)
        return r;
    return mArray->setEqFilter(beam, p->mEqFirLength[parameter], p->eqRow(parameter));
}

int CZirc::setBeamActive(int beam, bool active)
{
    if (!validBeam(beam))
        return kErrBeam;
    mArray->setBeamActive(beam, active);
    if (!active)
        mArray->mbf(beam)->reset();
    return vkOk;
}

// Leaving mode 3 gives every beam's high-frequency section the restore type (0): the
// engine then keeps that branch silent until the beam's next setParameter, so mode 1
// never adds a stale block. The mode is stored before the range test, so a refused mode
// is still what "mbfMode" reads back.
int CZirc::setMbfMode(int mode)
{
    mMbfMode = mode;
    if (!mArray)
        return vkErrNotConfigured;
    if (mode < CKorvane::kModeModes || mode > CKorvane::kModeModalLow)
        return kErrMode;
    if (mArray->mode() == CKorvane::kModeHf && mode != CKorvane::kModeHf)
        if (const int r = mArray->setHfType(-1, mHfRestoreType); r != vkOk)
            return r;
    mArray->setMode(mode);
    return vkOk;
}

int CZirc::setEqStatus(bool on)
{
    mEqStatus = on;
    if (mArray)
        mArray->setEqOn(on);
    return vkOk;
}

int CZirc::setChannelParameter(int channel, int id, const void* data, int count, int type)
{
    if (id < 0 || id >= kParameterCount)
        return vkErrParameterId;
    if (id <= kPattern && !validBeam(channel))
        return vkErrChannel;
    int value = 0;
    if (const int r = copyParameter(data, id, &value, count, type, true); r != vkOk)
        return r;
    switch (id) {
    case kTheta:
        setTheta(channel, static_cast<float>(value));
        return vkOk;
    case kPhi:
        setPhi(channel, static_cast<float>(value));
        return vkOk;
    case kPattern:
        // A value past the last pattern selects the last; the parameter is the pattern's
        // default. A negative value is no pattern: the caller must not give one.
        if (setPattern(channel, value < mNumPatterns ? value : mNumPatterns - 1) == vkOk)
            setParameter(channel, mBeamPattern[channel]->defaultParameter());
        return vkOk;
    case kMbfMode:
        return setMbfMode(value);
    default:
        return setEqStatus(value != 0);
    }
}

int CZirc::getChannelParameter(int channel, int id, void* data, int count, int type)
{
    if (!validBeam(channel))
        return vkErrChannel;
    if (id < 0 || id >= kParameterCount)
        return vkErrParameterId;
    int value = 0;
    switch (id) {
    case kTheta:
        value = static_cast<int>(mArray->mbf(channel)->thetaDegrees());
        break;
    case kPhi:
        value = static_cast<int>(mArray->mbf(channel)->phiDegrees());
        break;
    case kPattern:
        value = mBeamPatternIndex[channel];
        break;
    case kMbfMode:
        value = mMbfMode;
        break;
    default:
        value = mArray->eqOn() ? 1 : 0;
        break;
    }
    return copyParameter(&value, id, data, count, type, true);
}

int CZirc::maxPolarPoints() const
{
    return mFactory ? mFactory->mMaxPolarPoints : 0;
}

int CZirc::patternInfo(int pattern, int* nameSize, int* parameterNameSize, int* numParameters, int* polarPoints) const
{
    const CZrPattern* p = zrPattern(pattern);
    if (!p)
        return vkErrRange;
    if (nameSize)
        *nameSize = kNameBytes;
    if (parameterNameSize)
        *parameterNameSize = kNameBytes;
    if (numParameters)
        *numParameters = p->mNumParameters;
    if (polarPoints)
        *polarPoints = p->mPolarPoints;
    return vkOk;
}

int CZirc::patternNames(int pattern, char* name, char* parameterName, int* values) const
{
    const CZrPattern* p = zrPattern(pattern);
    if (!p)
        return vkErrRange;
    if (name)
        std::memcpy(name, p->mName, kNameBytes);
    if (parameterName)
        std::memcpy(parameterName, p->mParameterName, kNameBytes);
    if (values)
        std::memcpy(values, p->mParameterValues, sizeof(int) * p->mNumParameters);
    return vkOk;
}

int CZirc::patternResponse(int pattern, int parameter, float* polar, int* beamWidth) const
{
    const CZrPattern* p = zrPattern(pattern);
    if (!p)
        return vkErrRange;
    const bool listed = parameter >= 0 && parameter < p->mNumParameters;
    if (polar) {
        if (!listed)
            return vkErrRange;
        std::memcpy(polar, p->polarRow(parameter), sizeof(float) * p->mPolarPoints);
    }
    if (beamWidth)
        *beamWidth = listed ? p->mBeamWidth[parameter] : 0;
    return vkOk;
}
