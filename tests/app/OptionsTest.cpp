// The options pages: every conflict asks or warns with its words, OK resolves it and
// sends one signal, Cancel puts the control back and sends none; controls set from code
// send nothing.

#include "app/CHpSelection.h"
#include "app/COptionPages.h"
#include "app/CZrOptions.h"
#include "tests/app/AppTestSupport.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTabWidget>


namespace {
QList<int> args(const QSignalSpy& spy, int i)
{
    return {spy.at(i).at(0).toInt(), spy.at(i).at(1).toInt()};
}
const QString kZib = QStringLiteral("ZIB Options");
} // namespace

TEST(ZibOutputOptions, OneGroupMustStayActiveAndTheFirstCannotGo)
{
    DialogAnswers dialogs;
    CZibOutputOptions page;
    QSignalSpy spy(&page, &CZibOutputOptions::outputGroupsChanged);
    page.setZibOutputs(3, 2, 2);
    EXPECT_TRUE(page.firstButton(1)->isChecked());

    page.activeBox(1)->click(); // the only active group
    EXPECT_TRUE(page.activeBox(1)->isChecked());
    page.activeBox(0)->click(); // headphone on
    page.activeBox(1)->click(); // the first group, another active
    EXPECT_TRUE(page.activeBox(1)->isChecked());
    ASSERT_EQ(dialogs.warnings.size(), 2u);
    EXPECT_EQ(dialogs.warnings[0].title, kZib);
    EXPECT_EQ(dialogs.warnings[0].text, QStringLiteral("One output group has to remain active!"));
    EXPECT_EQ(dialogs.warnings[1].text,
              QStringLiteral("Please set the \"first output\" to another output group before disabling this output"));

    page.firstButton(0)->click();
    page.activeBox(1)->click(); // now it may go
    EXPECT_FALSE(page.activeBox(1)->isChecked());
    EXPECT_FALSE(page.firstButton(1)->isEnabled());
    ASSERT_EQ(spy.size(), 3);
    EXPECT_EQ(args(spy, 0), (QList<int>{3, 2}));
    EXPECT_EQ(args(spy, 1), (QList<int>{3, 1}));
    EXPECT_EQ(args(spy, 2), (QList<int>{1, 1}));
}

TEST(ZibOutputOptions, AGroupTheBoxLacksCanBeNeitherActiveNorFirst)
{
    CZibOutputOptions page;
    page.setZibOutputs(3, 7, 4);
    EXPECT_FALSE(page.activeBox(2)->isEnabled());
    EXPECT_FALSE(page.activeBox(2)->isChecked());
    EXPECT_FALSE(page.firstButton(2)->isEnabled());
    EXPECT_TRUE(page.firstButton(0)->isChecked()); // the lowest active group stands in
}

TEST(MonitorOptions, MoreChannelsThanFitBeyondTheOffset)
{
    DialogAnswers dialogs;
    CMonitorOptions page;
    QSignalSpy spy(&page, &CMonitorOptions::monitorChannelsChanged);
    page.setMonitor(1, 7, 8);
    EXPECT_EQ(page.offsetCombo()->currentIndex(), 7);
    EXPECT_EQ(page.offsetCombo()->count(), 8);
    EXPECT_TRUE(spy.isEmpty());

    dialogs.buttons = {QMessageBox::Cancel};
    page.channelsButton(2)->click();
    EXPECT_TRUE(page.channelsButton(1)->isChecked());
    EXPECT_TRUE(spy.isEmpty());

    dialogs.buttons = {QMessageBox::Ok};
    page.channelsButton(2)->click();
    ASSERT_EQ(spy.size(), 1);
    EXPECT_EQ(args(spy, 0), (QList<int>{2, 6}));
    EXPECT_EQ(page.offsetCombo()->currentIndex(), 6);
    ASSERT_EQ(dialogs.questions.size(), 2u);
    EXPECT_EQ(dialogs.questions[0].title, QStringLiteral("Monitor Options"));
    EXPECT_EQ(dialogs.questions[0].text, QStringLiteral("There are not enough channels available beyond the "
                                                        "current offset.\nDo you want to reduce the offset by one?"));
}

TEST(MonitorOptions, AnOffsetTooFarAsksToReduceTheChannels)
{
    DialogAnswers dialogs;
    CMonitorOptions page;
    page.setMonitor(2, 0, 8);
    QSignalSpy spy(&page, &CMonitorOptions::monitorChannelsChanged);
    ASSERT_TRUE(page.channelsButton(2)->isChecked());

    dialogs.buttons = {QMessageBox::Cancel};
    page.offsetCombo()->setCurrentIndex(7);
    EXPECT_EQ(page.offsetCombo()->currentIndex(), 0);
    EXPECT_TRUE(spy.isEmpty());

    dialogs.buttons = {QMessageBox::Ok};
    page.offsetCombo()->setCurrentIndex(7);
    ASSERT_EQ(spy.size(), 1);
    EXPECT_EQ(args(spy, 0), (QList<int>{1, 7}));
    EXPECT_TRUE(page.channelsButton(1)->isChecked());
    EXPECT_EQ(dialogs.questions[0].text, QStringLiteral("There are not enough channels available beyond the offset "
                                                        "selection.\nDo you want to reduce the number of monitor "
                                                        "channels?"));
}

TEST(ZibMonitorOptions, OffsetsWithinTheGroupOfTheChannel)
{
    DialogAnswers dialogs;
    CZibMonitorOptions page;
    page.setZibMonitor(7, 9, 2);
    EXPECT_EQ(page.groupCombo()->currentText(), QStringLiteral("ADAT"));
    EXPECT_EQ(page.offsetCombo()->currentText(), QStringLiteral("1"));
    EXPECT_TRUE(page.channelsButton(2)->isChecked());
    QSignalSpy spy(&page, &CZibMonitorOptions::monitorChannelsChanged);

    page.offsetCombo()->setCurrentIndex(3);
    page.groupCombo()->setCurrentIndex(0);
    EXPECT_EQ(page.offsetCombo()->count(), 2);
    page.groupCombo()->setCurrentIndex(2);
    ASSERT_EQ(spy.size(), 3);
    EXPECT_EQ(args(spy, 0), (QList<int>{2, 11}));
    EXPECT_EQ(args(spy, 1), (QList<int>{2, 0}));
    EXPECT_EQ(args(spy, 2), (QList<int>{2, 16}));
    EXPECT_TRUE(dialogs.questions.empty());

    page.setZibMonitor(3, 40, 1); // no group holds it
    EXPECT_EQ(page.groupCombo()->count(), 2);
    EXPECT_EQ(page.groupCombo()->currentIndex(), 0);
    EXPECT_EQ(page.offsetCombo()->currentIndex(), 0);
    EXPECT_EQ(spy.size(), 3);
}

TEST(OutputOptions, AnOffsetTooFarAsksToReduceTheChannels)
{
    DialogAnswers dialogs;
    COutputOptions page;
    page.setOutputs(8, 0, 18, 18);
    QSignalSpy spy(&page, &COutputOptions::outputChannelsChanged);
    EXPECT_EQ(page.numberCombo()->currentText(), QStringLiteral("8"));

    dialogs.buttons = {QMessageBox::Cancel, QMessageBox::Ok};
    page.offsetCombo()->setCurrentIndex(12);
    EXPECT_EQ(page.offsetCombo()->currentIndex(), 0);
    EXPECT_TRUE(spy.isEmpty());
    page.offsetCombo()->setCurrentIndex(12);
    ASSERT_EQ(spy.size(), 1);
    EXPECT_EQ(args(spy, 0), (QList<int>{6, 12}));
    EXPECT_EQ(page.numberCombo()->currentText(), QStringLiteral("6"));
    EXPECT_EQ(dialogs.questions[0].title, QStringLiteral("Output Options"));
    EXPECT_EQ(dialogs.questions[0].text, QStringLiteral("There are not enough channels available beyond the offset "
                                                        "selection.\nDo you want to reduce the number of output "
                                                        "channels?"));

    page.updateStartChannel(12); // the value shown
    page.updateNumOutputChannels(5);
    EXPECT_EQ(spy.size(), 1);
}

TEST(OutputOptions, MoreChannelsThanFitAskToMoveTheOffset)
{
    DialogAnswers dialogs;
    COutputOptions page;
    page.setOutputs(4, 10, 18, 18);
    QSignalSpy spy(&page, &COutputOptions::outputChannelsChanged);

    dialogs.buttons = {QMessageBox::Cancel, QMessageBox::Ok};
    page.numberCombo()->setCurrentIndex(11); // 12 channels from 10
    EXPECT_EQ(page.numberCombo()->currentText(), QStringLiteral("4"));
    EXPECT_TRUE(spy.isEmpty());
    page.numberCombo()->setCurrentIndex(11);
    ASSERT_EQ(spy.size(), 1);
    EXPECT_EQ(args(spy, 0), (QList<int>{12, 6}));
    EXPECT_EQ(page.offsetCombo()->currentIndex(), 6);
    EXPECT_EQ(dialogs.questions[0].text, QStringLiteral("There are not enough channels available beyond the "
                                                        "current offset.\nDo you want to reduce the offset?"));
}

TEST(ZrOptions, ShowsOnlyThePagesSetUpAndForwardsTheirSignals)
{
    CZrOptions box(QStringLiteral("Vantoria"));
    box.setZibOutputs(7, 2, 2);
    box.setZibMonitor(7, 0, 2);
    box.setEmulation(true);
    EXPECT_EQ(box.windowTitle(), QStringLiteral("Vantoria"));
    ASSERT_EQ(box.tabs()->count(), 3);
    EXPECT_EQ(box.tabs()->tabText(0), QStringLiteral("ZIB Output"));
    EXPECT_EQ(box.tabs()->tabText(1), QStringLiteral("ZIB Monitor"));
    EXPECT_EQ(box.outputPage(), nullptr);

    QSignalSpy groups(&box, &CZrOptions::zibOutputGroupsChanged);
    QSignalSpy monitor(&box, &CZrOptions::monitorChannelsChanged);
    QSignalSpy emulation(&box, &CZrOptions::emulationChanged);
    box.zibOutputPage()->activeBox(2)->click();
    box.zibMonitorPage()->groupCombo()->setCurrentIndex(1);
    box.hardwarePage()->emulationBox()->click();
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(args(groups, 0), (QList<int>{6, 2}));
    ASSERT_EQ(monitor.size(), 1);
    EXPECT_EQ(args(monitor, 0), (QList<int>{2, 8}));
    ASSERT_EQ(emulation.size(), 1);
    EXPECT_FALSE(emulation.at(0).at(0).toBool());

    CZrOptions driver(QStringLiteral("Vantoria"));
    driver.setOutputs(8, 0, 18, 18);
    driver.setMonitor(2, 0, 18);
    EXPECT_EQ(driver.tabs()->tabText(0), QStringLiteral("Output"));
    EXPECT_EQ(driver.tabs()->tabText(1), QStringLiteral("Monitor"));
    EXPECT_EQ(driver.zibOutputPage(), nullptr);
    QSignalSpy outputs(&driver, &CZrOptions::outputChannelsChanged);
    QSignalSpy driverMonitor(&driver, &CZrOptions::monitorChannelsChanged);
    driver.outputPage()->offsetCombo()->setCurrentIndex(3);
    driver.monitorPage()->offsetCombo()->setCurrentIndex(4);
    ASSERT_EQ(outputs.size(), 1);
    EXPECT_EQ(args(outputs, 0), (QList<int>{8, 3}));
    ASSERT_EQ(driverMonitor.size(), 1);
    EXPECT_EQ(args(driverMonitor, 0), (QList<int>{2, 4}));
}

TEST(HpSelection, IndexIsTheCheckedButton)
{
    CHpSelection hp;
    hp.setup({"off", "80 Hz", "160 Hz", "320 Hz"}, 2);
    EXPECT_EQ(hp.index(), 2);
    EXPECT_EQ(hp.buttons()->checkedButton()->text(), QStringLiteral("160 Hz"));
    QSignalSpy spy(&hp, &CHpSelection::selectionChanged);
    hp.buttons()->button(0)->click();
    ASSERT_EQ(spy.size(), 1);
    EXPECT_EQ(spy.at(0).at(0).toInt(), 0);
    EXPECT_EQ(hp.index(), 0);
}
