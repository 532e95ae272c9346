#include "widgets/CTrackDialogs.h"

#include <QColorDialog>
#include <QFileDialog>
#include <QInputDialog>

namespace {
CTrackDialogs::Answers& installed()
{
    static CTrackDialogs::Answers answers;
    return answers;
}
} // namespace

void CTrackDialogs::message(QWidget* parent, QMessageBox::Icon icon, const QString& title, const QString& text)
{
    if (installed().message) {
        installed().message(icon, title, text);
        return;
    }
    if (icon == QMessageBox::Warning)
        QMessageBox::warning(parent, title, text, QMessageBox::Ok);
    else
        QMessageBox::information(parent, title, text, QMessageBox::Ok);
}

QColor CTrackDialogs::getColor(QWidget* parent, const QColor& initial)
{
    if (installed().color)
        return installed().color(initial);
    return QColorDialog::getColor(initial, parent);
}

std::optional<int> CTrackDialogs::getInt(QWidget* parent, const IntRequest& r)
{
    if (installed().integer)
        return installed().integer(r);
    bool ok = false;
    const int value = QInputDialog::getInt(parent, r.title, r.label, r.value, r.min, r.max, r.step, &ok);
    return ok ? std::optional<int>(value) : std::nullopt;
}

QString CTrackDialogs::getSaveFileName(QWidget* parent, const FileRequest& r)
{
    if (installed().saveFileName)
        return installed().saveFileName(r);
    return QFileDialog::getSaveFileName(parent, r.caption, r.start, r.filter);
}

QString CTrackDialogs::getOpenFileName(QWidget* parent, const FileRequest& r)
{
    if (installed().openFileName)
        return installed().openFileName(r);
    return QFileDialog::getOpenFileName(parent, r.caption, r.start, r.filter);
}

void CTrackDialogs::setAnswers(Answers answers)
{
    installed() = std::move(answers);
}
