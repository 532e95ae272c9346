#include "widgets/CAudioTransport.h"
#include "WidgetTestSupport.h"

#include <QPushButton>

#include <gtest/gtest.h>

namespace {
// Every signal of the transport, in the order of emission.
struct SignalLog {
    QStringList names;
    explicit SignalLog(CAudioTransport& t)
    {
        const std::pair<void (CAudioTransport::*)(), const char*> kSignals[] = {
            {&CAudioTransport::startAudio, "start"},    {&CAudioTransport::stopAudio, "stop"},
            {&CAudioTransport::pauseAudio, "pause"},    {&CAudioTransport::loopAudio, "loop"},
            {&CAudioTransport::recordAudioOn, "recOn"}, {&CAudioTransport::recordAudioOff, "recOff"}};
        for (const auto& [signal, name] : kSignals)
            QObject::connect(&t, signal, &t, [this, n = QString::fromLatin1(name)] { names << n; });
    }
};

void click(CAudioTransport& t, CAudioTransport::Button b)
{
    QTest::mouseClick(t.button(b), Qt::LeftButton);
}
} // namespace

TEST(Transport, OneExclusiveButtonIsDownAndEachPressSignalsOnce)
{
    CAudioTransport transport(QString(), 0x1f, 1);
    ASSERT_TRUE(widgettest::showAt(transport, 500, 80));
    SignalLog log(transport);
    EXPECT_TRUE(transport.button(CAudioTransport::StopButton)->isChecked());

    transport.pressButton(4);
    transport.pressButton(4); // already down: nothing new
    click(transport, CAudioTransport::PauseButton);
    click(transport, CAudioTransport::PauseButton); // an auto-exclusive button stays down
    transport.pressButton(1);
    EXPECT_EQ(log.names, QStringList({"start", "pause", "stop"}));
    int down = 0;
    for (auto b : {CAudioTransport::StopButton, CAudioTransport::PauseButton, CAudioTransport::PlayButton,
                   CAudioTransport::LoopButton})
        down += transport.button(b)->isChecked();
    EXPECT_EQ(down, 1);

    for (int code : {0, 3, 16, 127, 130, -1})
        transport.pressButton(code);
    EXPECT_EQ(log.names.size(), 3);
    EXPECT_TRUE(transport.button(CAudioTransport::StopButton)->isChecked());
}

TEST(Transport, RecordModeOneRecordsBesidePlayingAndStopEndsTheRecording)
{
    CAudioTransport transport(QString(), 0x1f, 1);
    SignalLog log(transport);
    transport.pressButton(4);
    transport.pressButton(128);
    EXPECT_FALSE(transport.button(CAudioTransport::LoopButton)->isEnabled());
    transport.pressButton(1);
    // The stop reports the recording's end itself, and the released button once more.
    EXPECT_EQ(log.names, QStringList({"start", "recOn", "stop", "recOff", "recOff"}));
    EXPECT_FALSE(transport.button(CAudioTransport::RecordButton)->isChecked());
    EXPECT_TRUE(transport.button(CAudioTransport::LoopButton)->isEnabled());
}

TEST(Transport, OtherRecordModesChangeRecordingOnlyWhileStopped)
{
    CAudioTransport transport(QString(), 0x1f, 0);
    ASSERT_TRUE(widgettest::showAt(transport, 500, 80));
    SignalLog log(transport);
    QPushButton* rec = transport.button(CAudioTransport::RecordButton);

    click(transport, CAudioTransport::RecordButton);
    EXPECT_TRUE(rec->isChecked());
    EXPECT_FALSE(transport.button(CAudioTransport::PauseButton)->isEnabled());
    EXPECT_FALSE(transport.button(CAudioTransport::LoopButton)->isEnabled());
    transport.pressButton(4);
    EXPECT_TRUE(rec->isEnabled()); // down, so it stays usable
    transport.pressButton(129);    // refused while playing
    EXPECT_TRUE(rec->isChecked());
    transport.pressButton(1);
    transport.pressButton(129);
    EXPECT_EQ(log.names, QStringList({"recOn", "start", "stop", "recOff"}));
    EXPECT_TRUE(transport.button(CAudioTransport::PauseButton)->isEnabled());

    transport.pressButton(4);
    EXPECT_FALSE(rec->isEnabled()); // not down: locked while playing
    transport.pressButton(128);
    EXPECT_FALSE(rec->isChecked());
    EXPECT_EQ(log.names.size(), 5);
}

TEST(Transport, MaskLaysOutButtonsAndPathChoosesImagesOrTexts)
{
    CAudioTransport texts(QString(), 0x17, 1);
    ASSERT_TRUE(widgettest::showAt(texts, 500, 80));
    EXPECT_FALSE(texts.button(CAudioTransport::LoopButton)->isVisible());
    texts.pressButton(8); // hidden: the shown stop button stays down
    EXPECT_TRUE(texts.button(CAudioTransport::StopButton)->isChecked());
    EXPECT_TRUE(texts.button(CAudioTransport::RecordButton)->isVisible());
    EXPECT_EQ(texts.button(CAudioTransport::PlayButton)->text(), "Start");

    CAudioTransport images(QStringLiteral(":/none"), 0x07, 1);
    ASSERT_TRUE(widgettest::showAt(images, 500, 80));
    EXPECT_FALSE(images.button(CAudioTransport::RecordButton)->isVisible());
    EXPECT_TRUE(images.button(CAudioTransport::StopButton)->text().isEmpty());
    EXPECT_EQ(images.button(CAudioTransport::StopButton)->iconSize(), QSize(64, 64));
}
