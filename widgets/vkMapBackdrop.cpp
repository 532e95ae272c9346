#include "widgets/vkMapBackdrop.h"

#include "soundmap/SoundMapColours.h"

#include <QMenu>
#include <QPainter>
#include <QWidget>

#include <algorithm>

QColor vkMapBackdrop::colour(float db) const
{
    const SoundMapRgb c = soundMapColour(1.0f + db / mFrame.rangeDb);
    return QColor(c.r, c.g, c.b);
}

void vkMapBackdrop::drawLegend(QPainter& painter, const QWidget& widget) const
{
    if (!mShown)
        return;
    painter.save();
    painter.resetTransform();
    QFont font = widget.font();
    font.setPixelSize(9);
    painter.setFont(font);
    painter.setPen(widget.palette().windowText().color());
    if (!mNote.isEmpty()) {
        painter.drawText(QRect(4, widget.height() - 40, widget.width() - 8, 36),
                         Qt::AlignLeft | Qt::AlignBottom | Qt::TextWordWrap, mNote);
    } else if (!mFrame.empty()) {
        // A short bar in the top left corner, clear of the disc's numbers.
        const int top = 4, bottom = top + std::clamp(widget.height() / 6, 16, 48);
        for (int y = top; y <= bottom; ++y) {
            painter.setPen(colour(-mFrame.rangeDb * float(y - top) / float(bottom - top)));
            painter.drawLine(4, y, 10, y);
        }
        painter.setPen(widget.palette().windowText().color());
        painter.drawText(QPoint(12, top + 8), QStringLiteral("0 dB"));
        painter.drawText(QPoint(12, bottom), QStringLiteral("%1").arg(-mFrame.rangeDb, 0, 'f', 0));
    }
    painter.restore();
}

vkMapBackdrop::Choice vkMapBackdrop::runMenu(QWidget* parent, QPoint globalPos) const
{
    QMenu menu(parent);
    QAction* shown = menu.addAction(QStringLiteral("Show sound map"));
    shown->setCheckable(true);
    shown->setChecked(mShown);
    QAction* music = menu.addAction(QStringLiteral("Sharper map (MUSIC)"));
    music->setCheckable(true);
    music->setChecked(mMusic);
    music->setEnabled(mShown);
    menu.exec(globalPos);
    return {shown->isChecked(), music->isChecked()};
}
