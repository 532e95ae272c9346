// The mounting section and the binaural/OSC page alone: each user change sends one signal
// with the values shown, a repeated value sends none, values set from code send nothing,
// and the SOFA file is asked for through the dialog seam.

#include "app/CBinauralOptions.h"
#include "app/CMountingOptions.h"
#include "app/COptionPages.h"
#include "app/CZrOptions.h"
#include "session/CZircSettings.h"
#include "tests/app/AppTestSupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>

namespace {
QList<float> angles(const QSignalSpy& spy, int i)
{
    return {spy.at(i).at(0).toFloat(), spy.at(i).at(1).toFloat(), spy.at(i).at(2).toFloat()};
}

// Types a value into a spin box as a user does: select all, type, Enter.
void type(QAbstractSpinBox* box, const QString& text)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, text);
    QTest::keyClick(box, Qt::Key_Return);
}
} // namespace

TEST(MountingOptions, PresetsSetTheAnglesAndTypedAnglesShowCustom)
{
    CMountingOptions page;
    QSignalSpy changes(&page, &CMountingOptions::mountingChanged);
    page.presetBox()->activated(CMountingOptions::UpsideDown);
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(angles(changes, 0), (QList<float>{0.0f, 0.0f, 180.0f}));
    // The same preset again changes nothing.
    page.presetBox()->activated(CMountingOptions::UpsideDown);
    EXPECT_EQ(changes.size(), 1);

    type(page.angleBox(0), QStringLiteral("30"));
    ASSERT_EQ(changes.size(), 2);
    EXPECT_EQ(angles(changes, 1), (QList<float>{30.0f, 0.0f, 180.0f}));
    EXPECT_EQ(page.presetBox()->currentIndex(), CMountingOptions::Custom);

    page.setMounting(0.0f, 0.0f, -180.0f);
    EXPECT_EQ(changes.size(), 2);
    EXPECT_EQ(page.presetBox()->currentIndex(), CMountingOptions::UpsideDown);
    page.setMounting(0.0f, 0.0f, 0.0f);
    EXPECT_EQ(page.presetBox()->currentIndex(), CMountingOptions::Upright);
    // Out of range from code is limited, not taken.
    page.setMounting(0.0f, 120.0f, 0.0f);
    EXPECT_FLOAT_EQ(page.pitch(), 90.0f);
    EXPECT_EQ(changes.size(), 2);
}

TEST(BinauralOptions, HeadAndOscSendOneSignalPerChangeAndNoneFromCode)
{
    CBinauralOptions page;
    page.show();
    QSignalSpy heads(&page, &CBinauralOptions::headChanged);
    QSignalSpy oscs(&page, &CBinauralOptions::oscChanged);
    page.setHead(10.0f, 20.0f, 30.0f);
    page.setOsc(false, 9000);
    EXPECT_EQ(heads.size(), 0);
    EXPECT_EQ(oscs.size(), 0);

    type(page.headBox(1), QStringLiteral("-15"));
    ASSERT_EQ(heads.size(), 1);
    EXPECT_EQ(angles(heads, 0), (QList<float>{10.0f, -15.0f, 30.0f}));
    type(page.headBox(1), QStringLiteral("-15"));
    EXPECT_EQ(heads.size(), 1);

    QTest::mouseClick(page.oscBox(), Qt::LeftButton, {}, QPoint(6, page.oscBox()->height() / 2));
    ASSERT_EQ(oscs.size(), 1);
    EXPECT_TRUE(oscs.at(0).at(0).toBool());
    EXPECT_EQ(oscs.at(0).at(1).toInt(), 9000);
    type(page.portBox(), QStringLiteral("9100"));
    ASSERT_EQ(oscs.size(), 2);
    EXPECT_EQ(oscs.at(1).at(1).toInt(), 9100);
}

TEST(BinauralOptions, SofaFileIsAskedForThroughTheSeamAndShownOnlyWhenConfirmed)
{
    DialogAnswers dialogs;
    CBinauralOptions page;
    page.setHrtfFile(QStringLiteral("/data/old.sofa"));
    QSignalSpy requests(&page, &CBinauralOptions::hrtfFileRequested);

    dialogs.fileAnswer = QStringLiteral("/data/new.sofa");
    page.chooseButton()->click();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests.at(0).at(0).toString(), QStringLiteral("/data/new.sofa"));
    EXPECT_EQ(page.hrtfFile(), QStringLiteral("/data/old.sofa"));
    ASSERT_EQ(dialogs.fileRequests.size(), 1u);
    EXPECT_EQ(dialogs.fileRequests[0].start, QStringLiteral("/data"));

    // Cancelled: nothing asked of the session.
    dialogs.fileAnswer.clear();
    page.chooseButton()->click();
    EXPECT_EQ(requests.size(), 1);
    page.defaultButton()->click();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests.at(1).at(0).toString(), CZircSettings::defaults().mHrtfFile);
}

TEST(ZrOptions, HardwarePageHoldsTheMountingAndTheBinauralPageIsMadeOnce)
{
    CZrOptions box(QStringLiteral("Vantoria"));
    EXPECT_EQ(box.mountingOptions(), nullptr);
    box.setEmulation(true);
    ASSERT_NE(box.mountingOptions(), nullptr);
    EXPECT_EQ(box.mountingOptions()->parentWidget(), box.hardwarePage());
    CBinauralOptions* page = box.binauralPage();
    EXPECT_EQ(box.binauralPage(), page);
    EXPECT_EQ(box.tabs()->count(), 2);
    EXPECT_EQ(box.tabs()->tabText(1), QStringLiteral("Binaural and OSC"));
}
