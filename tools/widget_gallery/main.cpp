// Writes a picture of each widget in a representative state below a docs folder (first
// argument, default "docs"): the controls and beam displays into <docs>/widgets, the track
// widgets into <docs>/widgets/tracks and the beam displays with a sound map into
// <docs>/soundmap. Runs on any Qt platform; with QT_QPA_PLATFORM=offscreen it needs no
// display. Exits non-zero if any picture could not be written.

#include "GalleryPictures.h"
#include "PictureFolder.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QString docs = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs");
    PictureFolder widgets(docs + "/widgets");
    PictureFolder tracks(docs + "/widgets/tracks");
    PictureFolder soundMap(docs + "/soundmap");

    writeControlPictures(widgets);
    writeBeamDisplayPictures(widgets, soundMap);
    writeTrackPictures(tracks);
    return widgets.ok() && tracks.ok() && soundMap.ok() ? 0 : 1;
}
