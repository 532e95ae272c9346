// The driver list as the user sees it, and loading a driver by the name shown.

#include "tests/device/HostFixture.h"

#include <string>

namespace {

using DriverList = HostFixture;

std::string nameOf(int length, char fill)
{
    return std::string(static_cast<std::size_t>(length), fill);
}

TEST_F(DriverList, NamesOf32CharactersOrMoreAreCutTo28AndDots)
{
    fake.config.names = {nameOf(31, 'a'), nameOf(32, 'b'), nameOf(60, 'c')};
    hostInit();
    ASSERT_EQ(hostDriverCount(), 3);
    EXPECT_EQ(std::string(hostDriverName(0)), nameOf(31, 'a'));
    EXPECT_EQ(std::string(hostDriverName(1)), nameOf(28, 'b') + "...");
    EXPECT_EQ(std::string(hostDriverName(2)), nameOf(28, 'c') + "...");
    EXPECT_EQ(hostDriverName(3), nullptr);
    EXPECT_EQ(hostDriverName(-1), nullptr);
}

TEST_F(DriverList, ShowsTheFirstTenOfTwelveAndLoadsAnyByItsFullName)
{
    fake.config.names.clear();
    for (int i = 0; i < 12; ++i)
        fake.config.names.push_back("Device " + std::to_string(i));
    hostInit();
    EXPECT_EQ(hostDriverCount(), 12);
    EXPECT_EQ(std::string(hostDriverName(9)), "Device 9");
    EXPECT_EQ(hostDriverName(10), nullptr);
    EXPECT_EQ(hostLoadDriver("Device 11"), 0);
    EXPECT_EQ(std::string(hostCurrentDriver()), "Device 11");
}

TEST_F(DriverList, ADriverShownCutShortLoadsByTheNameShown)
{
    const std::string full = "A rather long driver name for a multichannel device";
    fake.config.names = {"Other", full};
    hostInit();
    const std::string shown = hostDriverName(1);
    ASSERT_NE(shown, full);
    EXPECT_EQ(hostLoadDriver(shown.c_str()), 0);
    EXPECT_EQ(std::string(hostCurrentDriver()), full);
}

TEST_F(DriverList, AFailedLoadGivesMinusOneAndKeepsThePreviousDriver)
{
    fake.config.names = {"First", "Broken"};
    fake.refuse = {"Broken"};
    hostInit();
    ASSERT_EQ(hostLoadDriver("First"), 0);
    EXPECT_EQ(hostLoadDriver("Broken"), vkHostErrCreate);
    ASSERT_NE(hostCurrentDriver(), nullptr);
    EXPECT_EQ(std::string(hostCurrentDriver()), "First");
    EXPECT_EQ(hostLoadDriver("Nowhere"), vkHostErrCreate);
    EXPECT_EQ(hostLoadDriver("first"), vkHostErrCreate) << "names compare exactly";
}

TEST_F(DriverList, AFailedInitGivesMinus1000AndTheDriversReason)
{
    fake.config.initFails = true;
    hostInit();
    EXPECT_EQ(hostLoadDriver("Fake Driver"), vkHostErrNoDriver);
    EXPECT_EQ(hostCurrentDriver(), nullptr);
    EXPECT_STREQ(state().mDriverInfo.errorMessage, "fake device missing");
    EXPECT_EQ(hostOpen(), vkHostErrNoDriver);
    EXPECT_EQ(hostDriverInputs(), 0);
    EXPECT_EQ(hostSampleRate(), 0.0);
}

TEST_F(DriverList, LoadingTakesTheDriversRateBlockAndFittingChannels)
{
    fake.config.inputs = 1;
    fake.config.rate = 48000.0;
    fake.config.preferredBlock = 256;
    load();
    EXPECT_STREQ(state().mDriverInfo.name, "Fake Driver");
    EXPECT_STREQ(state().mDriverInfo.errorMessage, "No ASIO Driver Error");
    EXPECT_EQ(state().mDriverInfo.asioVersion, 2);
    EXPECT_EQ(hostSampleRate(), 48000.0);
    EXPECT_EQ(hostBlockLength(), 256);
    EXPECT_EQ(state().mDriverBlock, 256);
    EXPECT_EQ(state().mDeviceBlock, 256);
    // The default two inputs do not fit one: all of the device's inputs are taken.
    EXPECT_EQ(hostNumInputs(), 1);
    EXPECT_EQ(state().mInputList, std::vector<int>{0});
    EXPECT_EQ(state().mOutputList, (std::vector<int>{0, 1}));
}

} // namespace
