#include "resources/vkResources.h"
#include "tests/widgets/WidgetTestSupport.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CInputSourceSelection.h"

#include <QFile>
#include <QIcon>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

struct Picture {
    const char* name;
    int size;
};

// Every picture the window and its widgets ask for. Transport images go into their icons
// at 512 by 512; the file buttons are 25 pixels wide.
const Picture kPictures[] = {
    {"velkor.png", 512},         {"saveFile.png", 64},       {"loadFile.png", 64},
    {"stopInactive.png", 512},   {"stopActive.png", 512},    {"pauseInactive.png", 512},
    {"pauseActive.png", 512},    {"playInactive.png", 512},  {"playActive.png", 512},
    {"loopInactive.png", 512},   {"loopActive.png", 512},    {"recordInactive.png", 512},
    {"recordActive.png", 512},
};

QImage load(const char* name)
{
    return QImage(vkResources::picture(QString::fromLatin1(name))).convertToFormat(QImage::Format_ARGB32);
}

QImage iconImage(const QIcon& icon, QIcon::State state)
{
    return icon.pixmap(QSize(64, 64), QIcon::Normal, state).toImage().convertToFormat(QImage::Format_ARGB32);
}

} // namespace

TEST(Resources, EveryPictureResolvesUnderTheResourceFolder)
{
    EXPECT_EQ(vkResources::path(), ":/zircapp/Resources");
    for (const Picture& picture : kPictures) {
        SCOPED_TRACE(picture.name);
        EXPECT_TRUE(QFile::exists(vkResources::picture(QString::fromLatin1(picture.name))));
        const QImage image = load(picture.name);
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.size(), QSize(picture.size, picture.size));
        // Drawn on a transparent ground, with something opaque in the middle.
        EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0);
        EXPECT_EQ(qAlpha(image.pixel(picture.size / 2, picture.size / 2)), 255);
    }
}

TEST(Resources, TransportButtonsLookDifferentDownAndUp)
{
    CAudioTransport transport(vkResources::path(), 0x1f, 1);
    for (const auto button : {CAudioTransport::StopButton, CAudioTransport::PauseButton, CAudioTransport::PlayButton,
                              CAudioTransport::LoopButton, CAudioTransport::RecordButton}) {
        SCOPED_TRACE(button);
        const QIcon icon = transport.button(button)->icon();
        ASSERT_FALSE(icon.isNull());
        const QImage up = iconImage(icon, QIcon::Off);
        const QImage down = iconImage(icon, QIcon::On);
        ASSERT_FALSE(up.isNull());
        ASSERT_FALSE(down.isNull());
        EXPECT_NE(up, down);
    }
    // Each symbol is its own picture.
    EXPECT_NE(load("playActive.png"), load("stopActive.png"));
    EXPECT_NE(load("pauseInactive.png"), load("recordInactive.png"));
}

TEST(Resources, FileButtonsOfTheTrackListAndInputSourceShowTheirPictures)
{
    CBeamSelection beams(vkResources::path(), 18, 15, 255);
    CInputSourceSelection source(vkResources::path());
    const QPushButton* buttons[] = {beams.saveButton(), beams.loadButton(), source.loadButton()};
    for (const QPushButton* button : buttons) {
        ASSERT_NE(button, nullptr);
        EXPECT_FALSE(iconImage(button->icon(), QIcon::Off).isNull());
    }
    EXPECT_EQ(iconImage(beams.loadButton()->icon(), QIcon::Off), iconImage(source.loadButton()->icon(), QIcon::Off));
    EXPECT_NE(iconImage(beams.saveButton()->icon(), QIcon::Off), iconImage(beams.loadButton()->icon(), QIcon::Off));
}
