#include "widgets/COnOffButton.h"
#include "widgets/CVolumeUnit.h"
#include "BeamListFixture.h"

#include <QComboBox>
#include <QLabel>
#include <QPointer>
#include <QSignalSpy>
#include <QSlider>

#include <cmath>

using namespace widgettest;

namespace {
using Column = CBeamSelectionTrack::Column;
const QString kStreamingText = QStringLiteral("You must stop streaming before adding/deleting a beam track.");
} // namespace

TEST_F(BeamList, AddButtonAddsNumberedTracksUpToTheLimit)
{
    ASSERT_TRUE(showAt(list, 600, 200));
    QSignalSpy added(&list, &CBeamSelection::beamTrackAdded);
    const int emptyHeight = list.minimumSizeHint().height();
    QTest::mouseClick(list.addButton(), Qt::LeftButton);
    ASSERT_EQ(added.count(), 1);
    EXPECT_EQ(added[0][0].toInt(), 0);
    EXPECT_EQ(list.label(0), "beam 1");
    EXPECT_EQ(list.theta(0), 90);
    EXPECT_EQ(list.patternIndex(0), 0);
    EXPECT_FALSE(list.track(0)->parameterBox()->isEnabled()); // "omni" has a single value
    const int rowStep = list.minimumSizeHint().height() - emptyHeight;
    EXPECT_EQ(rowStep, list.track(0)->minimumSizeHint().height() + 2);

    for (int i = 0; i < 19; ++i)
        QTest::mouseClick(list.addButton(), Qt::LeftButton);
    EXPECT_EQ(list.numTracks(), 18);
    EXPECT_EQ(added.count(), 18);
    EXPECT_EQ(list.label(17), "beam 18");
    EXPECT_TRUE(answers.messages.empty());
    EXPECT_EQ(list.minimumSizeHint().height(), emptyHeight + 18 * rowStep);
    EXPECT_FALSE(list.isDirty());

    // Each header stands over its column's cells.
    const char* headers[] = {"ID", "Label", "Azimuth", "Elevation", "Pattern", "Specification", "Volume", "Mute"};
    QApplication::processEvents();
    CBeamSelectionTrack* row = list.track(17);
    for (int column = 0; column < CBeamSelectionTrack::NumColumns; ++column) {
        const QWidget* cell = row->cell(static_cast<Column>(column));
        const int cellCentre = row->mapTo(&list, cell->geometry().center()).x();
        int headerCentre = -1;
        for (const QLabel* label : list.findChildren<QLabel*>(Qt::FindDirectChildrenOnly))
            if (label->text() == headers[column])
                headerCentre = label->geometry().center().x();
        EXPECT_NEAR(headerCentre, cellCentre, 1) << headers[column];
    }
}

TEST_F(BeamList, AddDeleteAndLoadAreRefusedWhileStreaming)
{
    addTracks(2);
    list.setActiveBeamTrack(1);
    list.setStreamingActive(true);
    QSignalSpy added(&list, &CBeamSelection::beamTrackAdded);
    QSignalSpy deleted(&list, &CBeamSelection::beamTrackDeleted);
    QTest::mouseClick(list.addButton(), Qt::LeftButton);
    QTest::mouseClick(list.deleteButton(), Qt::LeftButton);
    list.loadStateDialog();
    list.loadState(QStringLiteral("any.vts"));
    ASSERT_EQ(answers.messages.size(), 4u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(answers.messages[i].text, kStreamingText);
        EXPECT_EQ(answers.messages[i].title, "Beam Track Dialog");
        EXPECT_EQ(answers.messages[i].icon, QMessageBox::Information);
    }
    EXPECT_EQ(answers.messages[3].text, "You must stop streaming before loading a configuration file.");
    EXPECT_TRUE(answers.fileRequests.empty()); // no file dialog opened
    EXPECT_EQ(added.count() + deleted.count(), 0);
    EXPECT_EQ(list.numTracks(), 2);

    // Steering stays allowed.
    list.setPhi(1, 45);
    EXPECT_EQ(list.phi(1), 45);
}

TEST_F(BeamList, DeletionSelectsTheRowThatTookThePlaceOrTheNewLast)
{
    addTracks(4);
    QSignalSpy deleted(&list, &CBeamSelection::beamTrackDeleted);
    QSignalSpy active(&list, &CBeamSelection::activeBeamTrackChanged);
    QTest::mouseClick(list.deleteButton(), Qt::LeftButton);
    EXPECT_EQ(answers.lastText(), "No beam track selected.");

    list.setActiveBeamTrack(1);
    QTest::mouseClick(list.deleteButton(), Qt::LeftButton);
    EXPECT_EQ(list.activeTrack(), 1);
    EXPECT_EQ(list.label(1), "beam 3");
    for (int id = 0; id < list.numTracks(); ++id)
        EXPECT_EQ(list.track(id)->id(), id);
    EXPECT_TRUE(list.track(1)->isActive());

    list.setActiveBeamTrack(2); // the last
    QTest::mouseClick(list.deleteButton(), Qt::LeftButton);
    EXPECT_EQ(list.activeTrack(), 1);
    EXPECT_TRUE(list.track(1)->isActive());

    list.setActiveBeamTrack(0);
    QTest::mouseClick(list.deleteButton(), Qt::LeftButton);
    QTest::mouseClick(list.deleteButton(), Qt::LeftButton);
    EXPECT_EQ(list.numTracks(), 0);
    EXPECT_EQ(list.activeTrack(), -1);
    ASSERT_EQ(deleted.count(), 4);
    EXPECT_EQ(deleted[1][0].toInt(), 2);
    EXPECT_EQ(active.count(), 0);
}

TEST_F(BeamList, ClickOnARowMakesItActiveAndPaintsItInItsColour)
{
    addTracks(2);
    ASSERT_TRUE(showAt(list, 600, 200));
    list.setColor(0, Qt::red);
    list.setColor(1, Qt::red);
    QSignalSpy active(&list, &CBeamSelection::activeBeamTrackChanged);
    CBeamSelectionTrack* row = list.track(1);
    const QPoint inRow(8, row->height() / 2); // left of the first cell, on the painted rectangle
    QTest::mouseClick(row, Qt::LeftButton, {}, inRow);
    QTest::mouseClick(row, Qt::LeftButton, {}, inRow); // already active: no second report
    ASSERT_EQ(active.count(), 1);
    EXPECT_EQ(active[0][0].toInt(), 1);
    const QColor on = pixel(*row, inRow);
    const QColor off = pixel(*list.track(0), inRow);
    EXPECT_GT(on.red(), 200);
    EXPECT_LT(on.green(), 60);
    EXPECT_NEAR(off.red(), 220, 8);
    EXPECT_NEAR(off.green(), 220, 8);
}

TEST_F(BeamList, LinkedAzimuthsTurnTogetherAcrossNorth)
{
    addTracks(3);
    list.setPhi(0, 350);
    list.setPhi(1, 10);
    list.setPhi(2, 180);
    list.setPhiLinkStatus(true);
    EXPECT_TRUE(list.linkButton()->isChecked());
    QSignalSpy phis(&list, &CBeamSelection::beamTrackPhiChanged);

    list.setPhi(0, 0);
    EXPECT_EQ(QList<int>({list.phi(0), list.phi(1), list.phi(2)}), QList<int>({0, 20, 190}));
    ASSERT_EQ(phis.count(), 2); // the moved track is the caller's business
    EXPECT_EQ(phis[0], QVariantList({1, 20}));
    EXPECT_EQ(phis[1], QVariantList({2, 190}));

    list.setActiveBeamTrack(1);
    list.setPhi(0); // the active track, by 20 degrees back
    EXPECT_EQ(QList<int>({list.phi(0), list.phi(1), list.phi(2)}), QList<int>({340, 0, 170}));

    QTest::mouseClick(list.linkButton(), Qt::LeftButton);
    list.setPhi(2, 360);
    EXPECT_EQ(QList<int>({list.phi(0), list.phi(1), list.phi(2)}), QList<int>({340, 0, 0}));
    EXPECT_EQ(phis.count(), 4);
}

TEST_F(BeamList, DoubleClickEditsTheColumnUnderTheMouse)
{
    addTracks(2);
    ASSERT_TRUE(showAt(list, 600, 200));
    QSignalSpy phis(&list, &CBeamSelection::beamTrackPhiChanged);
    QSignalSpy thetas(&list, &CBeamSelection::beamTrackThetaChanged);
    QSignalSpy labels(&list, &CBeamSelection::beamTrackLabelChanged);
    QSignalSpy colors(&list, &CBeamSelection::beamTrackColorChanged);
    CBeamSelectionTrack* row = list.track(1);
    list.setPhiLinkStatus(true); // a row's own editor moves that row alone

    answers.ints = {360, std::nullopt, 45};
    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::AzimuthColumn));
    EXPECT_EQ(list.phi(1), 360);
    ASSERT_EQ(phis.count(), 1);
    EXPECT_EQ(phis[0], QVariantList({1, 360}));
    EXPECT_EQ(list.phi(0), 0);
    ASSERT_EQ(answers.intRequests.size(), 1u);
    EXPECT_EQ(answers.intRequests[0].title, "azimuth");
    EXPECT_EQ(answers.intRequests[0].label, "azimuth angle in degree:");
    EXPECT_EQ(answers.intRequests[0].max, 360);

    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::ElevationColumn)); // cancelled
    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::ElevationColumn));
    EXPECT_EQ(answers.intRequests[1].max, 180);
    EXPECT_EQ(answers.intRequests[1].value, 90);
    ASSERT_EQ(thetas.count(), 1);
    EXPECT_EQ(list.theta(1), 45);

    answers.texts = {QStringLiteral("violin")};
    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::LabelColumn));
    EXPECT_EQ(list.label(1), "violin");
    ASSERT_EQ(labels.count(), 1);

    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::IdColumn)); // cancelled
    answers.color = QColor(10, 200, 30);
    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::IdColumn));
    ASSERT_EQ(colors.count(), 1);
    EXPECT_EQ(list.color(1), QColor(10, 200, 30));
    const QColor disc = pixel(*row, cellCentre(row, Column::IdColumn));
    EXPECT_NEAR(disc.green(), 200, 3);
    EXPECT_TRUE(list.isDirty());

    list.setPhi(1, 360); // through the slot the value wraps
    EXPECT_EQ(list.phi(1), 0);
}

TEST_F(BeamList, PatternChangeKeepsTheParameterOrTakesTheClosest)
{
    addTracks(1);
    QSignalSpy patterns(&list, &CBeamSelection::beamTrackPatternChanged);
    QSignalSpy parameters(&list, &CBeamSelection::beamTrackParameterChanged);
    QComboBox* patternBox = list.track(0)->patternBox();
    QComboBox* parameterBox = list.track(0)->parameterBox();

    patternBox->setCurrentIndex(1);
    ASSERT_EQ(patterns.count(), 1);
    EXPECT_EQ(patterns[0], QVariantList({0, 1, 2})); // "0" is in the new list
    EXPECT_TRUE(parameterBox->isEnabled());
    parameterBox->setCurrentIndex(3);
    ASSERT_EQ(parameters.count(), 1);
    EXPECT_EQ(parameters[0], QVariantList({0, 3}));

    patternBox->setCurrentIndex(2); // "6" is there too
    EXPECT_EQ(patterns[1], QVariantList({0, 2, 2}));
    patternBox->setCurrentIndex(0);
    EXPECT_FALSE(parameterBox->isEnabled());
    patternBox->setCurrentIndex(1); // from "0" back: "0", not the earlier "6"
    EXPECT_EQ(list.track(0)->parameterText(), "0");
    EXPECT_EQ(parameters.count(), 1); // refilling the box reports nothing

    list.setPatternIndex(0, 2); // from code: consistent and silent
    EXPECT_EQ(list.track(0)->parameterText(), "0");
    list.setParameterIndex(0, 2);
    EXPECT_EQ(list.parameterIndex(0), 2);
    EXPECT_EQ(patterns.count(), 4);
    EXPECT_EQ(parameters.count(), 1);
}

TEST_F(BeamList, VolumePopupSetsTheGainAndGoesWithItsRow)
{
    addTracks(2);
    ASSERT_TRUE(showAt(list, 600, 200));
    QSignalSpy gains(&list, &CBeamSelection::beamTrackGainChanged);
    CBeamSelectionTrack* row = list.track(1);
    list.setVolume(1, 3.0f);
    QTest::mouseDClick(row, Qt::LeftButton, {}, cellCentre(row, Column::VolumeColumn));
    QPointer<QWidget> popup = row->volumePopup();
    ASSERT_TRUE(popup && popup->isVisible());
    EXPECT_EQ(row->popupUnit()->label(), "beam 2");
    EXPECT_FLOAT_EQ(row->popupUnit()->volume(), 3.0f);

    row->popupUnit()->slider()->setValue(-60); // -6 dB
    ASSERT_EQ(gains.count(), 1);
    EXPECT_EQ(gains[0][0].toInt(), 1);
    EXPECT_NEAR(gains[0][1].toFloat(), std::pow(10.0, -0.3), 1e-5);
    EXPECT_FLOAT_EQ(list.volume(1), -6.0f);
    EXPECT_NEAR(list.gain(1), std::pow(10.0, -0.3), 1e-6);

    list.setVolume(1, 2.0f); // from code: the popup follows without an echo
    EXPECT_FLOAT_EQ(row->popupUnit()->volume(), 2.0f);
    EXPECT_EQ(gains.count(), 1);

    QSignalSpy mutes(&list, &CBeamSelection::beamTrackMuteChanged);
    list.setMute(1, true);
    QTest::mouseClick(list.track(0)->muteButton(), Qt::LeftButton);
    ASSERT_EQ(mutes.count(), 1);
    EXPECT_EQ(mutes[0], QVariantList({0, true}));

    list.hide();
    EXPECT_FALSE(popup->isVisible());
    list.setActiveBeamTrack(1);
    list.deleteBeam();
    EXPECT_TRUE(popup.isNull());
}
