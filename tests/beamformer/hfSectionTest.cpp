// CZrHf driven by direction tracks written here: what it takes from the capsules at
// rest, and the envelopes of its fades, read by feeding 1.0 to one capsule at a time.

#include "beamformer/CZrHf.h"
#include "beamformer/tables/HfCellMaps.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <vector>

namespace {
constexpr float kRate = 44100.0f;
constexpr int kBlock = 64;

vkAudioInterface format(int channels, float rate = kRate) { return vkAudioInterface::timeDomain(channels, rate, kBlock); }

struct Direction {
    int theta;
    int phi;
};

int nearestCell(Direction d) { return HfCells::kNearestMap[d.theta * HfCells::kColumns + d.phi]; }
int triangleCell(Direction d) { return HfCells::kTriangleMap[d.theta * HfCells::kColumns + d.phi]; }
int corner(int cell, int row) { return HfCells::kTriangleList[row * HfCells::kTriangleCells + cell]; }

// One CZrHf per watched capsule, that capsule fed 1.0 and all others 0: each output is
// that capsule's envelope. All follow the same tracks.
class EnvelopeProbe {
public:
    EnvelopeProbe(int type, std::vector<int> capsules)
        : mCapsules(std::move(capsules))
        , mOnes(kBlock, 1.0f)
        , mZeros(kBlock, 0.0f)
        , mTheta(kBlock)
        , mPhi(kBlock)
        , mOut(kBlock)
    {
        for (int c : mCapsules) {
            auto hf = std::make_unique<CZrHf>();
            EXPECT_EQ(hf->setFormat(format(32), format(1)), vkOk);
            EXPECT_EQ(hf->setSteeringTracks(mTheta.data(), mPhi.data()), vkOk);
            EXPECT_EQ(hf->setHfType(type), vkOk);
            std::vector<float*> in(32, mZeros.data());
            in[c] = mOnes.data();
            mInputs.push_back(in);
            mSections.push_back(std::move(hf));
        }
    }

    void setHfType(int type)
    {
        for (auto& hf : mSections)
            ASSERT_EQ(hf->setHfType(type), vkOk);
    }

    // One block standing at `d` up to sample `change`, at `next` from there on.
    void block(Direction d, int change = kBlock, Direction next = {})
    {
        for (int s = 0; s < kBlock; ++s) {
            mTheta[s] = s < change ? d.theta : next.theta;
            mPhi[s] = s < change ? d.phi : next.phi;
        }
        for (size_t i = 0; i < mSections.size(); ++i) {
            float* out = mOut.data();
            AllocationCounter allocations;
            ASSERT_EQ(mSections[i]->process(mInputs[i].data(), &out, kBlock), vkOk);
            ASSERT_EQ(allocations.count(), 0u);
            auto& env = mEnvelopes[mCapsules[i]];
            env.insert(env.end(), mOut.begin(), mOut.end());
        }
    }

    const std::vector<float>& operator[](int capsule) { return mEnvelopes[capsule]; }
    int fadeLength() const { return mSections.front()->fadeLength(); }

private:
    std::vector<int> mCapsules;
    std::vector<float> mOnes, mZeros;
    std::vector<int> mTheta, mPhi;
    std::vector<float> mOut;
    std::vector<std::unique_ptr<CZrHf>> mSections;
    std::vector<std::vector<float*>> mInputs;
    std::map<int, std::vector<float>> mEnvelopes;
};

// Rise of the fade at step k of L (k = 0 first): 10^(-2 (L - 1 - k) / (L - 1)).
double fadeGain(int k, int length) { return std::pow(10.0, -2.0 * (length - 1 - k) / (length - 1)); }

// Three directions whose nearest capsules differ: 0 at (69, 0), 1 at (90, 32), 6 at (90, 69).
constexpr Direction kA{69, 0}, kB{90, 32}, kC{90, 69};
} // namespace

TEST(HfSection, AtRestTypeOneIsTheCapsuleAndTypeTwoTheMeanOfItsTriangle)
{
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<std::vector<float>> capsules(32, std::vector<float>(kBlock));
    std::vector<float*> in;
    for (auto& c : capsules) {
        for (float& x : c)
            x = u(rng);
        in.push_back(c.data());
    }
    const Direction d{55, 45};
    std::vector<int> theta(kBlock, d.theta), phi(kBlock, d.phi);
    std::vector<float> out(kBlock);
    float* o = out.data();
    for (int type : {1, 2}) {
        CZrHf hf;
        ASSERT_EQ(hf.setFormat(format(32), format(1)), vkOk);
        ASSERT_EQ(hf.setSteeringTracks(theta.data(), phi.data()), vkOk);
        ASSERT_EQ(hf.setHfType(type), vkOk);
        for (int rep = 0; rep < 2; ++rep) {
            ASSERT_EQ(hf.process(in.data(), &o, kBlock), vkOk);
            for (int s = 0; s < kBlock; ++s) {
                if (type == 1) {
                    ASSERT_EQ(out[s], capsules[nearestCell(d)][s]);
                } else {
                    const int t = triangleCell(d);
                    const double mean = (double(capsules[corner(t, 0)][s]) + capsules[corner(t, 1)][s]
                                         + capsules[corner(t, 2)][s]) / 3.0;
                    ASSERT_NEAR(out[s], mean, 1e-6);
                }
            }
        }
    }
}

TEST(HfSection, CrossingABorderFadesFortyDecibelsAndDefersAFurtherChange)
{
    const int a = nearestCell(kA), b = nearestCell(kB), c = nearestCell(kC);
    ASSERT_TRUE(a != b && b != c && a != c);
    EnvelopeProbe probe(1, {a, b, c});
    const int L = probe.fadeLength();
    ASSERT_EQ(L, 11025);
    probe.block(kA);
    probe.block(kA, 20, kB); // the border is crossed at sample 84
    const int start = kBlock + 20;
    EXPECT_EQ(probe[a][start - 1], 1.0f);
    EXPECT_EQ(probe[b][start - 1], 0.0f);
    EXPECT_NEAR(probe[b][start], 0.01, 1e-7);
    EXPECT_NEAR(probe[a][start], 0.99, 1e-7);
    // C is entered while the fade runs: it is not acted on until the fade has ended.
    probe.block(kC);
    while (static_cast<int>(probe[a].size()) < start + L + kBlock)
        probe.block(kC);
    for (int k : {1, L / 2, L - 2})
        ASSERT_NEAR(probe[b][start + k], fadeGain(k, L), 1e-5 * fadeGain(k, L)) << k;
    for (int s = start; s < start + L; ++s) {
        ASSERT_NEAR(probe[a][s] + probe[b][s], 1.0, 1e-6) << s;
        ASSERT_EQ(probe[c][s], 0.0f) << s;
    }
    // The last step gives B all and A nothing, then the fade to C starts at once.
    const int last = start + L - 1;
    EXPECT_EQ(probe[b][last], 1.0f);
    EXPECT_EQ(probe[a][last], 0.0f);
    EXPECT_NEAR(probe[c][last + 1], 0.01, 1e-7);
    EXPECT_NEAR(probe[b][last + 1], 0.99, 1e-7);
}

TEST(HfSection, ATypeChangeWaitsForTheBlockAndFadesItsCellIn)
{
    const Direction d{55, 45};
    const int single = nearestCell(d), t = triangleCell(d);
    std::vector<int> corners = {corner(t, 0), corner(t, 1), corner(t, 2)};
    ASSERT_NE(std::find(corners.begin(), corners.end(), single), corners.end());
    EnvelopeProbe probe(1, corners);
    probe.block(d);
    probe.setHfType(2);
    const int L = probe.fadeLength();
    while (static_cast<int>(probe[single].size()) < kBlock + L + kBlock)
        probe.block(d);
    for (int capsule : corners) {
        const bool shared = capsule == single;
        EXPECT_EQ(probe[capsule][kBlock - 1], shared ? 1.0f : 0.0f);
        EXPECT_NEAR(probe[capsule][kBlock], (shared ? 0.99 : 0.0) + 0.01 / 3.0, 1e-7);
        EXPECT_NEAR(probe[capsule][kBlock + L - 1], 1.0 / 3.0, 1e-7);
        EXPECT_NEAR(probe[capsule].back(), 1.0 / 3.0, 1e-7);
    }
}

TEST(HfSection, TypeZeroWritesNothingAndTypesNeedThirtyTwoCapsules)
{
    CZrHf hf;
    ASSERT_EQ(hf.setFormat(format(31), format(1)), vkOk);
    EXPECT_EQ(hf.setHfType(2), CZrHf::kErrCapsuleCount);
    ASSERT_EQ(hf.setFormat(format(32, 48000.0f), format(1, 48000.0f)), vkOk);
    EXPECT_EQ(hf.fadeLength(), 12000);
    EXPECT_EQ(hf.setHfType(3), CZrHf::kErrType);
    std::vector<float> zeros(kBlock, 0.0f), out(kBlock, 7.0f);
    std::vector<float*> in(32, zeros.data());
    float* o = out.data();
    EXPECT_EQ(hf.process(in.data(), &o, kBlock), vkOk);
    EXPECT_EQ(out, std::vector<float>(kBlock, 7.0f));
    ASSERT_EQ(hf.setHfType(1), vkOk);
    EXPECT_EQ(hf.process(in.data(), &o, kBlock), vkErrNotConfigured); // no tracks yet
}
