#pragma once
// The modal questions of the application: warnings with a single OK, questions with OK
// and Cancel, and the choice of an item from a fixed list. Each shows Qt's dialog unless
// a test has installed answers, so that nothing ever blocks headless.

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QWidget;

class CAppDialogs {
public:
    struct Answers {
        // A warning was shown.
        std::function<void(const QString& title, const QString& text)> warning;
        // True for OK, false for Cancel.
        std::function<bool(const QString& title, const QString& text)> question;
        // The chosen item, or nothing when the user cancelled.
        std::function<std::optional<QString>(const QString& title, const QString& label,
                                             const QStringList& items)>
            item;
    };

    // A QMessageBox warning with the single button OK.
    static void warning(QWidget* parent, const QString& title, const QString& text);
    // A QMessageBox warning with OK and Cancel, Cancel the default; true for OK.
    static bool question(QWidget* parent, const QString& title, const QString& text);
    // A QInputDialog item list, not editable, the first item current.
    static std::optional<QString> item(QWidget* parent, const QString& title, const QString& label,
                                       const QStringList& items);

    // Replaces the dialogs; an empty member falls back to Qt's dialog.
    static void setAnswers(Answers answers);
};
