#pragma once
// The whole window on the fake driver (32 inputs, 18 outputs, 32-bit samples), whose
// blocks the test runs itself on the main thread: as many as it needs, as fast as the
// machine goes, each followed by whatever the event loop has waiting.

#include "app/CZircApp.h"
#include "device/vkHost.h"
#include "tests/app/AppTestSupport.h"
#include "tests/device/CFakeDriver.h"
#include "widgets/CAudioTransport.h"

#include <QCoreApplication>
#include <QPushButton>
#include <QTest>

#include <memory>

class FakeDriverSession : public ::testing::Test {
protected:
    void TearDown() override
    {
        app.reset();
        hostInit();
    }
    void open()
    {
        fake.config.names = {"Fake Driver"};
        fake.config.inputs = 32;
        fake.config.outputs = 18;
        dialogs.itemAnswer = QStringLiteral("Fake Driver");
        CZircSettings s = CZircSettings::defaults();
        s.mEmulateHardware = false;
        s.write(QStringLiteral("vantoria.ini"));
        app = std::make_unique<CZircApp>();
        ASSERT_EQ(app->session().graphResult(), 0);
        ASSERT_TRUE(app->session().device().isOpen());
    }
    void press(CAudioTransport::Button which) { app->transport()->button(which)->click(); }
    bool down(CAudioTransport::Button which) const { return app->transport()->button(which)->isChecked(); }
    int blockLength() const { return app->session().device().mBlockLength; }

    // One driver block; false when the stream is not running.
    bool runBlock()
    {
        if (!hostIsRunning())
            return false;
        fake.driver()->callback(mHalf);
        mHalf ^= 1;
        QCoreApplication::processEvents();
        return true;
    }
    void runBlocks(int count)
    {
        for (int i = 0; i < count && runBlock(); ++i) {
        }
    }
    // Blocks until `done` holds, with a little time between them for the window's timers;
    // false when `limit` blocks did not do it.
    template <class Done>
    bool runBlocksUntil(Done done, int limit)
    {
        for (int i = 0; i < limit && !done(); ++i) {
            runBlock();
            QTest::qWait(2);
        }
        return done();
    }
    // The samples the last block left in the driver's half of output `channel`.
    const std::int32_t* lastOutput(int channel) const
    {
        return static_cast<const std::int32_t*>(fake.driver()->buffer(hostNumInputs() + channel, mHalf ^ 1));
    }

    apptest::WorkingDirectory dir;
    DialogAnswers dialogs;
    CFakeBackend fake;
    std::unique_ptr<CZircApp> app;

private:
    int mHalf = 0;
};
