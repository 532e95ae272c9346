// The load and the missed callbacks that the buffer callback publishes for the main
// thread: measured against the block period, counted by the re-entry guard, and without
// an allocation on the audio thread.

#include "core/contract/vkAudioClass.h"
#include "tests/device/HostFixture.h"
#include "tests/support/AllocationCounter.h"

#include <chrono>
#include <functional>

namespace {

// Spends the given share of the block period before it returns.
class BusyObject : public vkAudioClass {
public:
    using vkAudioClass::process;
    int process(float**, float**, int) override
    {
        const auto until = std::chrono::steady_clock::now() + busy;
        while (std::chrono::steady_clock::now() < until) {
        }
        if (during)
            during();
        return 0;
    }
    std::chrono::duration<double> busy{0.0};
    std::function<void()> during;
};

class Load : public HostFixture {
protected:
    void SetUp() override
    {
        load();
        ASSERT_EQ(hostOpen(), 0);
        ASSERT_EQ(object.setFormat(state().mInFormat, state().mOutFormat), 0);
        hostSetObject(&object);
        ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
        ASSERT_EQ(hostStart(), 1);
    }
    double period() const { return fake.config.preferredBlock / fake.config.rate; }

    BusyObject object;
};

TEST_F(Load, IsTheCallbacksTimeOverTheBlockPeriod)
{
    // The lower bound is exact: the object does not return earlier. The upper one is the
    // whole call timed from outside, which encloses the host's own measure however long a
    // busy machine keeps the thread waiting (a fixed multiple of the period does not hold
    // there).
    object.busy = std::chrono::duration<double>(0.5 * period());
    for (int i = 0; i < 4; ++i) {
        const auto start = std::chrono::steady_clock::now();
        driver().callback(i & 1);
        const std::chrono::duration<double> call = std::chrono::steady_clock::now() - start;
        EXPECT_GE(hostLoad(), 0.5f);
        EXPECT_LE(hostLoad(), call.count() / period() + 1e-4);
    }

    object.busy = std::chrono::duration<double>(0.0);
    AllocationCounter c;
    for (int i = 0; i < 20; ++i)
        driver().callback(i & 1);
    EXPECT_EQ(c.count(), 0u);
    EXPECT_GE(hostLoad(), 0.0f);
    EXPECT_LT(hostLoad(), 0.5f) << "the load is the last block's, not a running maximum";
}

TEST_F(Load, MissedCallbacksAreReadableAndStartOverWithTheStream)
{
    EXPECT_EQ(hostMissedCallbacks(), 0);
    object.during = [this] {
        driver().callback(1);
        driver().callback(1);
    };
    driver().callback(0);
    object.during = nullptr;
    EXPECT_EQ(hostMissedCallbacks(), 2);
    driver().callback(1);
    EXPECT_EQ(hostMissedCallbacks(), 2);

    ASSERT_EQ(hostStop(), 1);
    ASSERT_EQ(hostStart(), 1);
    EXPECT_EQ(hostMissedCallbacks(), 0);
}

} // namespace
