#pragma once
// Answers the modal questions of the track list and selections in tests, and records what
// was asked. Installed for the lifetime of the object.

#include "widgets/CDialogSeam.h"
#include "widgets/CTrackDialogs.h"

#include <deque>
#include <vector>

namespace widgettest {

struct DialogAnswers {
    struct Message {
        QMessageBox::Icon icon;
        QString title;
        QString text;
    };
    std::vector<Message> messages;
    std::vector<CTrackDialogs::IntRequest> intRequests;
    std::vector<CTrackDialogs::FileRequest> fileRequests;
    std::deque<std::optional<int>> ints;
    std::deque<QString> texts; // a null string: cancelled
    QColor color; // invalid: cancelled
    QString fileName; // empty: cancelled

    DialogAnswers()
    {
        CTrackDialogs::Answers a;
        a.message = [this](QMessageBox::Icon icon, const QString& title, const QString& text) {
            messages.push_back({icon, title, text});
        };
        a.color = [this](const QColor&) { return color; };
        a.integer = [this](const CTrackDialogs::IntRequest& r) {
            intRequests.push_back(r);
            return next(ints);
        };
        a.saveFileName = a.openFileName = [this](const CTrackDialogs::FileRequest& r) {
            fileRequests.push_back(r);
            return fileName;
        };
        CTrackDialogs::setAnswers(a);
        CDialogSeam::setTextPrompt(
            [this](QWidget*, const QString&, const QString&, const QString&) -> std::optional<QString> {
                if (texts.empty() || texts.front().isNull())
                    return std::nullopt;
                const QString text = texts.front();
                texts.pop_front();
                return text;
            });
    }
    ~DialogAnswers()
    {
        CTrackDialogs::setAnswers({});
        CDialogSeam::setTextPrompt({});
    }
    DialogAnswers(const DialogAnswers&) = delete;
    DialogAnswers& operator=(const DialogAnswers&) = delete;

    QString lastText() const { return messages.empty() ? QString() : messages.back().text; }

private:
    static std::optional<int> next(std::deque<std::optional<int>>& queue)
    {
        if (queue.empty())
            return std::nullopt;
        const std::optional<int> value = queue.front();
        queue.pop_front();
        return value;
    }
};

} // namespace widgettest
