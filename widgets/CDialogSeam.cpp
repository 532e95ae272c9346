#include "widgets/CDialogSeam.h"

#include <QInputDialog>

namespace {
CDialogSeam::TextPrompt& installedPrompt()
{
    static CDialogSeam::TextPrompt prompt;
    return prompt;
}
} // namespace

std::optional<QString> CDialogSeam::getText(QWidget* parent, const QString& title, const QString& label,
                                            const QString& text)
{
    if (installedPrompt())
        return installedPrompt()(parent, title, label, text);
    bool ok = false;
    const QString answer = QInputDialog::getText(parent, title, label, QLineEdit::Normal, text, &ok);
    return ok ? std::optional<QString>(answer) : std::nullopt;
}

void CDialogSeam::setTextPrompt(TextPrompt prompt)
{
    installedPrompt() = std::move(prompt);
}
