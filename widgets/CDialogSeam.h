#pragma once
// The one place where a widget asks the user something modally. The application uses Qt's
// dialogs; a test installs an answer instead, so that nothing ever blocks headless.

#include <QString>

#include <functional>
#include <optional>

class QWidget;

class CDialogSeam {
public:
    // Gives the entered text, or nothing when the user cancelled.
    using TextPrompt = std::function<std::optional<QString>(QWidget* parent, const QString& title,
                                                            const QString& label, const QString& text)>;

    static std::optional<QString> getText(QWidget* parent, const QString& title, const QString& label,
                                          const QString& text);
    // Replaces the dialog; an empty function restores it.
    static void setTextPrompt(TextPrompt prompt);
};
