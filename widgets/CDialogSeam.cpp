#include "widgets/CDialogSeam.h"

#include <QColorDialog>
#include <QFileDialog>
#include <QInputDialog>

namespace {
CDialogSeam::Answers& installed()
{
    static CDialogSeam::Answers answers;
    return answers;
}
} // namespace

std::optional<QString> CDialogSeam::getText(QWidget* parent, const QString& title, const QString& label,
                                            const QString& text)
{
    if (installed().text)
        return installed().text(parent, title, label, text);
    bool ok = false;
    const QString answer = QInputDialog::getText(parent, title, label, QLineEdit::Normal, text, &ok);
    return ok ? std::optional<QString>(answer) : std::nullopt;
}

void CDialogSeam::message(QWidget* parent, QMessageBox::Icon icon, const QString& title, const QString& text)
{
    if (installed().message)
        return installed().message(icon, title, text);
    if (icon == QMessageBox::Warning)
        QMessageBox::warning(parent, title, text, QMessageBox::Ok);
    else
        QMessageBox::information(parent, title, text, QMessageBox::Ok);
}

QMessageBox::StandardButton CDialogSeam::question(QWidget* parent, const QString& title, const QString& text,
                                                  QMessageBox::StandardButtons buttons,
                                                  QMessageBox::StandardButton defaultButton)
{
    if (installed().question)
        return installed().question(title, text, buttons, defaultButton);
    return QMessageBox::question(parent, title, text, buttons, defaultButton);
}

std::optional<QString> CDialogSeam::getItem(QWidget* parent, const QString& title, const QString& label,
                                            const QStringList& items)
{
    if (installed().item)
        return installed().item(title, label, items);
    bool ok = false;
    const QString answer = QInputDialog::getItem(parent, title, label, items, 0, false, &ok);
    return ok ? std::optional<QString>(answer) : std::nullopt;
}

QColor CDialogSeam::getColor(QWidget* parent, const QColor& initial)
{
    if (installed().color)
        return installed().color(initial);
    return QColorDialog::getColor(initial, parent);
}

std::optional<int> CDialogSeam::getInt(QWidget* parent, const IntRequest& r)
{
    if (installed().integer)
        return installed().integer(r);
    bool ok = false;
    const int value = QInputDialog::getInt(parent, r.title, r.label, r.value, r.min, r.max, r.step, &ok);
    return ok ? std::optional<int>(value) : std::nullopt;
}

QString CDialogSeam::getSaveFileName(QWidget* parent, const FileRequest& r)
{
    if (installed().saveFileName)
        return installed().saveFileName(r);
    return QFileDialog::getSaveFileName(parent, r.caption, r.start, r.filter);
}

QString CDialogSeam::getOpenFileName(QWidget* parent, const FileRequest& r)
{
    if (installed().openFileName)
        return installed().openFileName(r);
    return QFileDialog::getOpenFileName(parent, r.caption, r.start, r.filter);
}

void CDialogSeam::setAnswers(Answers answers)
{
    installed() = std::move(answers);
}

void CDialogSeam::setTextPrompt(TextPrompt prompt)
{
    installed().text = std::move(prompt);
}
