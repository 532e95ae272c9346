#pragma once
// Answers every dialog of the widgets and the application in tests, and records what was
// asked. Installed for the lifetime of the object. Whatever has no answer left is
// cancelled.

#include "widgets/CDialogSeam.h"

#include <QColor>
#include <QStringList>

#include <deque>
#include <optional>
#include <utility>
#include <vector>

class DialogAnswers {
public:
    struct Message {
        QMessageBox::Icon icon;
        QString title;
        QString text;
    };

    DialogAnswers()
    {
        CDialogSeam::Answers a;
        a.message = [this](QMessageBox::Icon icon, const QString& title, const QString& text) {
            messages.push_back({icon, title, text});
            if (icon == QMessageBox::Warning)
                warnings.push_back({icon, title, text});
        };
        a.question = [this](const QString& title, const QString& text, QMessageBox::StandardButtons,
                            QMessageBox::StandardButton) {
            questions.push_back({QMessageBox::Question, title, text});
            return next(buttons).value_or(QMessageBox::Cancel);
        };
        a.item = [this](const QString& title, const QString& label, const QStringList& items) {
            itemRequests.push_back({QMessageBox::Question, title, label});
            offeredItems = items;
            return itemAnswer;
        };
        a.color = [this](const QColor&) { return color; };
        a.integer = [this](const CDialogSeam::IntRequest& r) {
            intRequests.push_back(r);
            return next(ints).value_or(std::nullopt);
        };
        a.text = [this](QWidget*, const QString&, const QString&, const QString&) -> std::optional<QString> {
            const std::optional<QString> text = next(texts);
            return text && !text->isNull() ? text : std::nullopt;
        };
        a.saveFileName = a.openFileName = [this](const CDialogSeam::FileRequest& r) {
            fileRequests.push_back(r);
            return fileAnswer;
        };
        CDialogSeam::setAnswers(std::move(a));
    }
    ~DialogAnswers() { CDialogSeam::setAnswers({}); }
    DialogAnswers(const DialogAnswers&) = delete;
    DialogAnswers& operator=(const DialogAnswers&) = delete;

    QStringList warningTexts() const
    {
        QStringList result;
        for (const Message& m : warnings)
            result << m.text;
        return result;
    }
    QString lastText() const { return messages.empty() ? QString() : messages.back().text; }

    // What was asked.
    std::vector<Message> messages; // every message box
    std::vector<Message> warnings; // the warnings among them
    std::vector<Message> questions;
    std::vector<Message> itemRequests; // title and label of each item choice
    QStringList offeredItems;          // the items of the last choice
    std::vector<CDialogSeam::IntRequest> intRequests;
    std::vector<CDialogSeam::FileRequest> fileRequests;

    // The answers.
    std::deque<QMessageBox::StandardButton> buttons; // one per question
    std::optional<QString> itemAnswer;               // nothing: cancelled
    std::deque<std::optional<int>> ints;             // one per number asked for
    std::deque<QString> texts;                       // one per text asked for; a null string: cancelled
    QColor color;                                    // invalid: cancelled
    QString fileAnswer;                              // empty: cancelled

private:
    template <class T>
    static std::optional<T> next(std::deque<T>& queue)
    {
        if (queue.empty())
            return std::nullopt;
        T value = std::move(queue.front());
        queue.pop_front();
        return value;
    }
};
