// Opening the audio device against the fake driver: every message of the chain, shown
// once with the application's title, and the results raised by 20000.

#include "session/CAudioDevice.h"
#include "device/vkHost.h"
#include "tests/app/AppTestSupport.h"
#include "tests/device/CFakeDriver.h"
#include "widgets/CDialogSeam.h"


namespace {
const QString kTitle = QStringLiteral("Vantoria");
const QString kNoDevice = QStringLiteral("No ASIO device available.\nPlease try connecting the hardware or try rebooting");
const QString kNotAvailable = QStringLiteral("No ASIO device is available.\nPlease try connecting the hardware or try rebooting");

class DeviceTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        hostUnloadDriver();
        hostInit();
    }
    // Only the message texts, each checked to carry the application's title.
    QStringList warnings() const
    {
        for (const auto& w : dialogs.warnings)
            EXPECT_EQ(w.title, kTitle);
        return dialogs.warningTexts();
    }

    CFakeBackend fake;
    DialogAnswers dialogs;
    // The device's questions go through the dialog seam, as the main window sends them.
    CAudioDevice device{[](const QString& text) { CDialogSeam::message(nullptr, QMessageBox::Warning, kTitle, text); },
                        [](const QStringList& names) {
                            return CDialogSeam::getItem(nullptr, CAudioDevice::kChooseTitle, CAudioDevice::kChooseText,
                                                        names);
                        }};
};
} // namespace

TEST_F(DeviceTest, NoDriverAtAll)
{
    fake.config.names.clear();
    EXPECT_EQ(device.selectDriver(), 1);
    EXPECT_EQ(warnings(), QStringList{kNoDevice});
    EXPECT_TRUE(device.mDevice.isEmpty());

    EXPECT_EQ(device.setSampleRate(44100.0f), 1);
    EXPECT_EQ(device.mSampleRate, 44100.0f);
    EXPECT_EQ(device.setSampleRate(0.0f), 0);
    EXPECT_EQ(device.mSampleRate, 48000.0f);
    EXPECT_EQ(device.setBlockLength(0), 0);
    EXPECT_EQ(device.mBlockLength, 8192);
    EXPECT_EQ(device.setBlockLength(256), 1);
    EXPECT_EQ(device.mBlockLength, 256);
    EXPECT_EQ(device.setInputs(), 1);
    EXPECT_EQ(warnings().size(), 1);
}

TEST_F(DeviceTest, AnotherDriverIsChosenFromTheList)
{
    fake.config.names = {"Fake A", "Fake B"};
    dialogs.itemAnswer = QStringLiteral("Fake B");
    EXPECT_EQ(device.selectDriver(), 0);
    ASSERT_EQ(dialogs.itemRequests.size(), 1u);
    EXPECT_EQ(dialogs.itemRequests[0].title, QStringLiteral("Audio Device"));
    EXPECT_EQ(dialogs.itemRequests[0].text,
              QStringLiteral("Default Audio device is not present, please select one from the list..."));
    EXPECT_EQ(dialogs.offeredItems, (QStringList{"Fake A", "Fake B"}));
    EXPECT_EQ(device.mDevice, QStringLiteral("Fake B"));
    EXPECT_STREQ(hostCurrentDriver(), "Fake B");
    EXPECT_TRUE(device.isOpen());
    EXPECT_FALSE(device.isDefaultDevice());
    EXPECT_TRUE(warnings().isEmpty());
}

TEST_F(DeviceTest, DefaultDriverThatWillNotLoadAsksToo)
{
    fake.config.names = {"ASIO TCAT Dice EVM Platform", "Fake"};
    fake.refuse = {"ASIO TCAT Dice EVM Platform"};
    dialogs.itemAnswer = QStringLiteral("Fake");
    EXPECT_EQ(device.selectDriver(), 0);
    EXPECT_EQ(dialogs.itemRequests.size(), 1u);
    EXPECT_EQ(device.mDevice, QStringLiteral("Fake"));
}

TEST_F(DeviceTest, CancelledOrFailedChoice)
{
    fake.config.names = {"Fake"};
    dialogs.itemAnswer = std::nullopt;
    EXPECT_EQ(device.selectDriver(), 1);
    dialogs.itemAnswer = QString();
    EXPECT_EQ(device.selectDriver(), 1);
    fake.refuse = {"Fake"};
    dialogs.itemAnswer = QStringLiteral("Fake");
    EXPECT_EQ(device.selectDriver(), 1);
    EXPECT_EQ(warnings(), (QStringList{"No ASIO device selected", "No ASIO device selected", kNotAvailable}));
    EXPECT_FALSE(device.isOpen());
    EXPECT_TRUE(device.mDevice.isEmpty());
}

TEST_F(DeviceTest, DriverThatWillNotOpenGivesItsCodeRaised)
{
    fake.config.names = {"ASIO TCAT Dice EVM Platform"};
    fake.config.preferredBlock = 0;
    const int r = device.selectDriver();
    EXPECT_EQ(r, vkHostErrBlock + CAudioDevice::kDriverOffset);
    EXPECT_EQ(warnings(), QStringList{kNotAvailable});
    EXPECT_TRUE(device.mDevice.isEmpty());
}

TEST_F(DeviceTest, RatesAndBlocksOfAnOpenDriver)
{
    fake.config.names = {"ASIO TCAT Dice EVM Platform"};
    fake.config.rates = {32000.0};
    fake.config.rate = 32000.0;
    ASSERT_EQ(device.selectDriver(), 0);
    EXPECT_EQ(device.setSampleRate(44100.0f), 2); // the driver cannot: no message
    EXPECT_EQ(device.mSampleRate, 32000.0f);
    EXPECT_EQ(device.setSampleRate(0.0f), 0);
    EXPECT_EQ(device.mSampleRate, 32000.0f);
    EXPECT_EQ(device.setBlockLength(0), 0);
    EXPECT_EQ(device.mBlockLength, 512);
    EXPECT_EQ(device.setBlockLength(-4), vkHostErrBlock + CAudioDevice::kDriverOffset);
    EXPECT_EQ(device.mBlockLength, hostBlockLength());
    EXPECT_EQ(warnings(), QStringList{"Can't set buffer length.\nPlease try rebooting"});
}

TEST_F(DeviceTest, TheBoxDriverWantsAllInputsAndItsGroups)
{
    fake.config.names = {"ASIO TCAT Dice EVM Platform"};
    fake.config.inputs = 8;
    fake.config.outputs = 8;
    CZircSettings s;
    device.open(s);
    EXPECT_EQ(device.mNumDriverInputs, 32);
    EXPECT_EQ(device.mAvailableInputs, 8);
    EXPECT_EQ(device.mOutputs.channels.front(), 8); // group 2 by default
    const QStringList w = warnings();
    ASSERT_EQ(w.size(), 2);
    EXPECT_EQ(w[0], QStringLiteral("Couldn't set inputs...\nPlease try connecting the hardware or try rebooting"));
    EXPECT_EQ(w[1], QStringLiteral("Couldn't set outputs...\nPlease check output settings, connect the hardware or "
                                   "try rebooting"));
    EXPECT_LT(device.setInputs(), CAudioDevice::kDriverOffset);
}

TEST_F(DeviceTest, AnotherDriverOpensItsOwnChannels)
{
    fake.config.names = {"Fake"};
    fake.config.inputs = 8;
    fake.config.outputs = 24;
    dialogs.itemAnswer = QStringLiteral("Fake");
    CZircSettings s;
    s.mNumOutputChannels = 4;
    s.mOutputChannelOffset = 2;
    s.mMonitorChannelOffset = 16;
    device.open(s);
    EXPECT_TRUE(warnings().isEmpty());
    EXPECT_EQ(device.mAvailableOutputs, 18);
    EXPECT_EQ(device.mNumDriverInputs, 8);
    EXPECT_EQ(device.mOutputs.channels, (std::vector<int>{2, 3, 4, 5, 16, 17}));
    EXPECT_EQ(hostNumInputs(), 8);
    EXPECT_EQ(device.mSampleRate, 44100.0f);
}

TEST_F(DeviceTest, ARateTheRunningDriverCannotTakeNow)
{
    fake.config.names = {"ASIO TCAT Dice EVM Platform"};
    ASSERT_EQ(device.selectDriver(), 0);
    ASSERT_EQ(hostSetTarget(vkTargetCopy), 0);
    hostStart();
    ASSERT_TRUE(hostIsRunning());
    EXPECT_EQ(device.setSampleRate(48000.0f), vkHostErrRunning + CAudioDevice::kDriverOffset);
    EXPECT_EQ(device.mSampleRate, 44100.0f);
    EXPECT_EQ(warnings(), QStringList{"Can't set sample rate.\nPlease close other applications or try rebooting"});
    hostStop();
}
