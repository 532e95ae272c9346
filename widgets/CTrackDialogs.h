#pragma once
// The modal questions of the track list and the input selection: message boxes, the colour
// and integer editors and the file dialogs. Like CDialogSeam for text, each call shows Qt's
// dialog unless a test has installed answers, so that nothing ever blocks headless.

#include <QColor>
#include <QMessageBox>
#include <QString>

#include <functional>
#include <optional>

class QWidget;

class CTrackDialogs {
public:
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
        std::function<void(QMessageBox::Icon icon, const QString& title, const QString& text)> message;
        std::function<QColor(const QColor& initial)> color;
        std::function<std::optional<int>(const IntRequest& request)> integer;
        std::function<QString(const FileRequest& request)> saveFileName;
        std::function<QString(const FileRequest& request)> openFileName;
    };

    // An information or warning box with the single button Ok.
    static void message(QWidget* parent, QMessageBox::Icon icon, const QString& title, const QString& text);
    // An invalid colour when the user cancelled.
    static QColor getColor(QWidget* parent, const QColor& initial);
    static std::optional<int> getInt(QWidget* parent, const IntRequest& request);
    // An empty name when the user cancelled.
    static QString getSaveFileName(QWidget* parent, const FileRequest& request);
    static QString getOpenFileName(QWidget* parent, const FileRequest& request);

    // Replaces the dialogs; default-constructed answers restore them all.
    static void setAnswers(Answers answers);
};
