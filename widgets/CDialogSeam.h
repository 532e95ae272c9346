#pragma once
// The one place where the program asks the user something modally: text, message boxes,
// questions with standard buttons, a choice from a list, colour, integer and file names.
// Each call shows Qt's dialog unless a test has installed an answer, so that nothing ever
// blocks headless. Main thread only.

#include <QColor>
#include <QMessageBox>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QWidget;

class CDialogSeam {
public:
    // Gives the entered text, or nothing when the user cancelled.
    using TextPrompt = std::function<std::optional<QString>(QWidget* parent, const QString& title,
                                                            const QString& label, const QString& text)>;

    struct IntRequest {
        QString title;
        QString label;
        int value = 0;
        int min = 0;
        int max = 0;
        int step = 1;
    };
    struct FileRequest {
        QString caption;
        QString start; // a starting name or folder
        QString filter;
    };

    // Each member answers one kind of question; an empty member falls back to Qt's dialog.
    struct Answers {
        TextPrompt text;
        std::function<void(QMessageBox::Icon icon, const QString& title, const QString& text)> message;
        std::function<QMessageBox::StandardButton(const QString& title, const QString& text,
                                                  QMessageBox::StandardButtons buttons,
                                                  QMessageBox::StandardButton defaultButton)>
            question;
        std::function<std::optional<QString>(const QString& title, const QString& label, const QStringList& items)>
            item;
        std::function<QColor(const QColor& initial)> color;
        std::function<std::optional<int>(const IntRequest& request)> integer;
        std::function<QString(const FileRequest& request)> saveFileName;
        std::function<QString(const FileRequest& request)> openFileName;
    };

    static std::optional<QString> getText(QWidget* parent, const QString& title, const QString& label,
                                          const QString& text);
    // An information or warning box with the single button Ok.
    static void message(QWidget* parent, QMessageBox::Icon icon, const QString& title, const QString& text);
    // A question box with the given buttons; gives the button pressed.
    static QMessageBox::StandardButton question(QWidget* parent, const QString& title, const QString& text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton);
    // A list that is not editable, the first item current; nothing when the user cancelled.
    static std::optional<QString> getItem(QWidget* parent, const QString& title, const QString& label,
                                          const QStringList& items);
    // An invalid colour when the user cancelled.
    static QColor getColor(QWidget* parent, const QColor& initial);
    static std::optional<int> getInt(QWidget* parent, const IntRequest& request);
    // An empty name when the user cancelled.
    static QString getSaveFileName(QWidget* parent, const FileRequest& request);
    static QString getOpenFileName(QWidget* parent, const FileRequest& request);

    // Replaces the dialogs; default-constructed answers restore them all.
    static void setAnswers(Answers answers);
    // Replaces the text dialog alone; an empty function restores it.
    static void setTextPrompt(TextPrompt prompt);
};
