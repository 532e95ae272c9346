// The binaural decoder plug-in in a lilv host: the engine's decoder sample for sample,
// its latency reported, the SOFA file as a path parameter (refused files logged, the set
// in force kept, a good one announced and kept in the state), no allocation in run().

#include "binaural/CBinauralDecoder.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "tests/lv2/CLv2TestHost.h"
#include "tests/lv2/Lv2TestRuns.h"
#include "tests/support/AllocationCounter.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

using lv2_runs::Channels;
using lv2_runs::noise;
using lv2_runs::runInCalls;
constexpr double kRate = 48000.0;
constexpr int kBlock = 512;
constexpr const char* kUri = vk_lv2::kBinauralUri;

std::unique_ptr<CLv2TestHost> decoder()
{
    CLv2TestHost::Options options;
    options.maxBlock = kBlock;
    auto host = std::make_unique<CLv2TestHost>(kUri, kRate, options);
    EXPECT_TRUE(host->instantiated());
    return host;
}

// The engine's decoder alone, as the application's graph runs it.
Channels decodeDirectly(const Channels& in, const CHeadOrientation& head)
{
    CBinauralDecoder d;
    EXPECT_EQ(d.setFormat(vkAudioInterface::timeDomain(vk_lv2::kAmbixChannels, float(kRate), kBlock),
                          vkAudioInterface::timeDomain(vk_lv2::kEars, float(kRate), kBlock)),
              vkOk);
    std::string message;
    EXPECT_EQ(d.loadHrtf(vk_lv2::kDefaultSofaFile, message), vkOk) << message;
    d.setHeadOrientation(head);
    d.start();
    const long frames = long(in[0].size());
    Channels out(vk_lv2::kEars, std::vector<float>(std::size_t(frames)));
    for (long t = 0; t < frames; t += kBlock) {
        const float* i[vk_lv2::kAmbixChannels];
        float* o[vk_lv2::kEars];
        for (int c = 0; c < vk_lv2::kAmbixChannels; ++c)
            i[c] = in[std::size_t(c)].data() + t;
        for (int e = 0; e < vk_lv2::kEars; ++e)
            o[e] = out[std::size_t(e)].data() + t;
        d.process(const_cast<float**>(i), o, int(std::min<long>(kBlock, frames - t)));
    }
    return out;
}

} // namespace

TEST(BinauralPlugin, RunsTheEnginesDecoderSampleForSampleWithItsLatencyReported)
{
    const Channels in = noise(vk_lv2::kAmbixChannels, 8 * kBlock, 11);
    const Channels expected = decodeDirectly(in, {30.0f, -10.0f, 5.0f});
    for (const std::vector<int>& calls : {std::vector<int>{kBlock}, std::vector<int>{1, 100, kBlock, 77, 300}}) {
        auto host = decoder();
        host->control("yaw") = 30.0f;
        host->control("pitch") = -10.0f;
        host->control("roll") = 5.0f;
        host->activate();
        const Channels got = runInCalls(*host, in, calls);
        EXPECT_EQ(host->control("latency"), float(CBinauralDecoder::kPartition));
        EXPECT_EQ(got, expected) << "host calls of " << calls.size() << " lengths";
        ASSERT_FALSE(host->notifiedPaths().empty());
        EXPECT_EQ(host->notifiedPaths().front(), vk_lv2::kDefaultSofaFile);
    }
}

TEST(BinauralPlugin, RefusedSofaFilesAreLoggedAndTheSetInForceStays)
{
    QTemporaryDir dir;
    const QString broken = dir.filePath("broken.sofa");
    {
        QFile f(broken);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("CDF\x01 this is not a SOFA file at all");
    }
    const Channels in = noise(vk_lv2::kAmbixChannels, 40 * kBlock, 12);
    auto untouched = decoder();
    untouched->activate();
    const Channels expected = runInCalls(*untouched, in, {kBlock});

    for (const QString& path : {dir.filePath("missing.sofa"), broken}) {
        auto host = decoder();
        host->activate();
        const Channels got = runInCalls(*host, in, {kBlock}, [&](long done) {
            if (done == 4 * kBlock)
                host->setPath(vk_lv2::kSofaFileUri, path.toStdString());
        });
        EXPECT_EQ(got, expected) << path.toStdString();
        ASSERT_EQ(host->log().size(), 1u) << path.toStdString();
        EXPECT_NE(host->log()[0].find(path.toStdString()), std::string::npos) << host->log()[0];
        EXPECT_NE(host->log()[0].find("the set in force stays"), std::string::npos) << host->log()[0];
        for (const std::string& notified : host->notifiedPaths())
            EXPECT_EQ(notified, vk_lv2::kDefaultSofaFile);
    }
}

TEST(BinauralPlugin, ASofaFileSetByTheHostIsAnnouncedAndKeptInTheState)
{
    QTemporaryDir dir;
    const QString copy = dir.filePath("my set.sofa");
    ASSERT_TRUE(QFile::copy(vk_lv2::kDefaultSofaFile, copy));
    const Channels in = noise(vk_lv2::kAmbixChannels, 8 * kBlock, 13);
    auto host = decoder();
    host->activate();
    runInCalls(*host, in, {kBlock}, [&](long done) {
        if (done == kBlock)
            host->setPath(vk_lv2::kSofaFileUri, copy.toStdString());
    });
    EXPECT_TRUE(host->log().empty()) << host->log()[0];
    ASSERT_FALSE(host->notifiedPaths().empty());
    EXPECT_EQ(host->notifiedPaths().back(), copy.toStdString());

    const CLv2TestHost::StateStore state = host->saveState();
    const auto stored = state.find(host->urid(vk_lv2::kSofaFileUri));
    ASSERT_NE(stored, state.end());
    EXPECT_EQ(stored->second.first, host->urid(LV2_ATOM__Path));
    EXPECT_EQ(stored->second.second, copy.toStdString() + '\0');

    // A new instance restored from that state plays and announces the same file.
    auto restored = decoder();
    // Each host numbers URIs its own way: the stored value moves under the new numbers.
    CLv2TestHost::StateStore moved;
    moved[restored->urid(vk_lv2::kSofaFileUri)] = {restored->urid(LV2_ATOM__Path), stored->second.second};
    restored->restoreState(moved);
    restored->activate();
    runInCalls(*restored, in, {kBlock});
    ASSERT_FALSE(restored->notifiedPaths().empty());
    EXPECT_EQ(restored->notifiedPaths().back(), copy.toStdString());
}

TEST(BinauralPlugin, RunAllocatesNothingWhileTheHeadTurnsAndFilesAreSet)
{
    QTemporaryDir dir;
    const QString copy = dir.filePath("set.sofa");
    ASSERT_TRUE(QFile::copy(vk_lv2::kDefaultSofaFile, copy));
    auto host = decoder();
    host->activate();
    const Channels in = noise(vk_lv2::kAmbixChannels, kBlock, 14);
    Channels out(vk_lv2::kEars, std::vector<float>(kBlock));
    std::size_t allocations = 0;
    for (int call = 0; call < 60; ++call) {
        host->control("yaw") = float(call * 13 % 400 - 200);
        host->control("pitch") = float(call * 7 % 200 - 100);
        host->control("roll") = call % 9 == 0 ? NAN : float(call * 5 % 360 - 180);
        if (call % 20 == 5)
            host->setPath(vk_lv2::kSofaFileUri, call % 40 == 5 ? copy.toStdString() : "/nonexistent.sofa");
        const int n = std::vector<int>{1, kBlock, 129, 64}[std::size_t(call % 4)];
        {
            AllocationCounter counter;
            host->run(in, out, 0, n);
            allocations += counter.count();
        }
        host->collectNotifications();
        host->runWork();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(host->notifiedPaths().back(), copy.toStdString());
}

TEST(BinauralPlugin, RefusesRatesASofaSetCannotServeWithAMessage)
{
    CLv2TestHost host(kUri, 8000.0, {});
    EXPECT_FALSE(host.instantiated());
    ASSERT_EQ(host.log().size(), 1u);
    EXPECT_NE(host.log()[0].find("8000 Hz refused"), std::string::npos) << host.log()[0];
}
