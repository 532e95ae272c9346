#include "app/CAppDialogs.h"

#include <QInputDialog>
#include <QMessageBox>

namespace {
CAppDialogs::Answers& installed()
{
    static CAppDialogs::Answers answers;
    return answers;
}
} // namespace

void CAppDialogs::warning(QWidget* parent, const QString& title, const QString& text)
{
    if (installed().warning)
        return installed().warning(title, text);
    QMessageBox::warning(parent, title, text, QMessageBox::Ok);
}

bool CAppDialogs::question(QWidget* parent, const QString& title, const QString& text)
{
    if (installed().question)
        return installed().question(title, text);
    return QMessageBox::warning(parent, title, text, QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel) ==
           QMessageBox::Ok;
}

std::optional<QString> CAppDialogs::item(QWidget* parent, const QString& title, const QString& label,
                                         const QStringList& items)
{
    if (installed().item)
        return installed().item(title, label, items);
    bool ok = false;
    const QString answer = QInputDialog::getItem(parent, title, label, items, 0, false, &ok);
    return ok ? std::optional<QString>(answer) : std::nullopt;
}

void CAppDialogs::setAnswers(Answers answers)
{
    installed() = std::move(answers);
}
