#include "emulation/CHardwareModel.h"

#include <cmath>

namespace {
// splitmix64: a small generator whose sequence is the same on every platform.
std::uint64_t nextRandom(std::uint64_t& state)
{
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

constexpr float kMinErrorDb = 0.05f;
constexpr float kMaxErrorDb = 0.6f;

bool validCapsule(int capsule) { return capsule >= 0 && capsule < CHardwareModel::kCapsules; }
} // namespace

CHardwareModel::CHardwareModel(std::uint64_t seed)
{
    std::uint64_t state = seed;
    for (int i = 0; i < kCapsules; ++i) {
        const double u = static_cast<double>(nextRandom(state) >> 11) * 0x1.0p-53;
        mErrorDb[i] = static_cast<float>(kMinErrorDb + (kMaxErrorDb - kMinErrorDb) * u);
        setPreampDb(i, kDefaultPreampDb);
    }
}

void CHardwareModel::setArrayAttached(bool attached)
{
    mArrayAttached.store(attached, std::memory_order_relaxed);
    if (!attached) {
        mSetupWord.store(0, std::memory_order_relaxed);
        mBulkCleared.store(false, std::memory_order_relaxed);
    }
}

bool CHardwareModel::arrayAttached() const { return mArrayAttached.load(std::memory_order_relaxed); }

void CHardwareModel::setExtension(int state, int kind)
{
    mExtensionState.store(state, std::memory_order_relaxed);
    mExtensionKind.store(kind, std::memory_order_relaxed);
}

int CHardwareModel::extensionState() const { return mExtensionState.load(std::memory_order_relaxed); }
int CHardwareModel::extensionKind() const { return mExtensionKind.load(std::memory_order_relaxed); }

float CHardwareModel::capsuleErrorDb(int capsule) const
{
    return validCapsule(capsule) ? mErrorDb[capsule] : 0.0f;
}

void CHardwareModel::setPreampDb(int capsule, float dB)
{
    if (!validCapsule(capsule))
        return;
    mPreampDb[capsule].store(dB, std::memory_order_relaxed);
    const float gain = static_cast<float>(std::pow(10.0, 0.05 * (dB + kSensitivityDb - mErrorDb[capsule])));
    mGain[capsule].store(gain, std::memory_order_relaxed);
}

float CHardwareModel::preampDb(int capsule) const
{
    return validCapsule(capsule) ? mPreampDb[capsule].load(std::memory_order_relaxed) : 0.0f;
}

float CHardwareModel::capsuleGain(int capsule) const
{
    if (!validCapsule(capsule) || !arrayAttached())
        return 0.0f;
    return mGain[capsule].load(std::memory_order_relaxed);
}

void CHardwareModel::setArraySetupWord(std::uint32_t word) { mSetupWord.store(word, std::memory_order_relaxed); }
std::uint32_t CHardwareModel::arraySetupWord() const { return mSetupWord.load(std::memory_order_relaxed); }
void CHardwareModel::clearBulk() { mBulkCleared.store(true, std::memory_order_relaxed); }
bool CHardwareModel::bulkCleared() const { return mBulkCleared.load(std::memory_order_relaxed); }
