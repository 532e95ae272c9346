#pragma once
// Answers the modal questions of the track list and selections in tests, and records what
// was asked. Installed for the lifetime of the object.

#include "widgets/CDialogSeam.h"

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
    std::vector<CDialogSeam::IntRequest> intRequests;
    std::vector<CDialogSeam::FileRequest> fileRequests;
    std::deque<std::optional<int>> ints;
    std::deque<QString> texts; // a null string: cancelled
    QColor color; // invalid: cancelled
    QString fileName; // empty: cancelled

    DialogAnswers()
    {
        CDialogSeam::Answers a;
        a.message = [this](QMessageBox::Icon icon, const QString& title, const QString& text) {
            messages.push_back({icon, title, text});
        };
        a.color = [this](const QColor&) { return color; };
        a.integer = [this](const CDialogSeam::IntRequest& r) {
            intRequests.push_back(r);
            return next(ints);
        };
        a.saveFileName = a.openFileName = [this](const CDialogSeam::FileRequest& r) {
            fileRequests.push_back(r);
            return fileName;
        };
        a.text = [this](QWidget*, const QString&, const QString&, const QString&) -> std::optional<QString> {
                if (texts.empty() || texts.front().isNull())
                    return std::nullopt;
                const QString text = texts.front();
                texts.pop_front();
                return text;
            };
        CDialogSeam::setAnswers(a);
    }
    ~DialogAnswers()
    {
        CDialogSeam::setAnswers({});
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
