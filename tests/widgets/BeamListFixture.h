#pragma once
// A beam track list as the application builds it, with a small pattern library: a pattern
// without parameters, one with five and one with three.

#include "widgets/CBeamSelection.h"
#include "tests/support/DialogAnswers.h"
#include "WidgetTestSupport.h"

#include <gtest/gtest.h>

namespace widgettest {

struct BeamList : ::testing::Test {
    DialogAnswers answers;
    CBeamSelection list{QString(), 18, 15, 255};

    static QStringList patterns() { return {"omni", "cardioid", "shotgun"}; }
    static QList<QStringList> parameters() { return {{"0"}, {"-12", "-6", "0", "6", "12"}, {"-6", "0", "6"}}; }

    void SetUp() override { list.setPatternAndParameterLists(patterns(), parameters()); }

    void addTracks(int count)
    {
        for (int i = 0; i < count; ++i)
            list.addBeam();
    }
    // The centre of a column's cell in the row's own coordinates.
    static QPoint cellCentre(CBeamSelectionTrack* track, CBeamSelectionTrack::Column column)
    {
        return track->cell(column)->geometry().center();
    }
};

} // namespace widgettest
