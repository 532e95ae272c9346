#pragma once
// The sound map behind a beam display: the latest frame, whether it is shown, which
// method the user chose, and why there is no map (a note such as a 2-channel input).
// Also what both displays draw of it: the colour of a level, the dB scale beside the
// disc, the note, and the context menu that switches the map and its method.

#include "soundmap/SoundMapFrame.h"

#include <QColor>
#include <QPoint>
#include <QString>

class QPainter;
class QRectF;
class QWidget;

class vkMapBackdrop {
public:
    void setFrame(SoundMapFrame frame) { mFrame = std::move(frame); }
    const SoundMapFrame& frame() const { return mFrame; }
    // A non-empty note replaces the map until it is cleared.
    void setNote(const QString& note) { mNote = note; }
    const QString& note() const { return mNote; }
    void setShown(bool shown) { mShown = shown; }
    bool shown() const { return mShown; }
    void setMusic(bool music) { mMusic = music; }
    bool music() const { return mMusic; }
    // Shown, with something to show.
    bool drawsMap() const { return mShown && mNote.isEmpty() && !mFrame.empty(); }

    // The colour of a level in dB re the map's top.
    QColor colour(float db) const;
    // The dB scale (a colour bar from 0 dB down to the range) and, instead of it, the
    // note; in widget pixels along the widget's left edge.
    void drawLegend(QPainter& painter, const QWidget& widget) const;

    // The two switches as the context menu leaves them.
    struct Choice {
        bool shown;
        bool music;
    };
    // Runs the context menu with the map's two checkable entries, "Show sound map" and
    // "Sharper map (MUSIC)", at a global position.
    Choice runMenu(QWidget* parent, QPoint globalPos) const;

private:
    SoundMapFrame mFrame;
    QString mNote;
    bool mShown = true;
    bool mMusic = false;
};
