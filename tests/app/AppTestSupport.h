#pragma once
// What the application's tests share: a QApplication for the GoogleTest runner, a fresh
// working directory per test (the ini file lives there), and recorded answers to every
// dialog of the application.

#include "widgets/CDialogSeam.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <deque>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace apptest {

struct ApplicationEnvironment : ::testing::Environment {
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "app_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
    }
    void TearDown() override { application.reset(); }
    std::unique_ptr<QApplication> application;
};
inline ::testing::Environment* const kApplication = ::testing::AddGlobalTestEnvironment(new ApplicationEnvironment);

// Makes a temporary directory the current one for its lifetime.
class WorkingDirectory {
public:
    WorkingDirectory() : mPrevious(QDir::currentPath()) { QDir::setCurrent(mDir.path()); }
    ~WorkingDirectory() { QDir::setCurrent(mPrevious); }
    QString path() const { return mDir.path(); }
    QString file(const QString& name) const { return mDir.filePath(name); }

private:
    QTemporaryDir mDir;
    QString mPrevious;
};

inline void writeText(const QString& path, const QByteArray& text)
{
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(text);
}

inline QByteArray readText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Answers every dialog of the application and records what was asked.
class DialogLog {
public:
    struct Message {
        QString title;
        QString text;
    };

    DialogLog()
    {
        CDialogSeam::Answers a;
        a.message = [this](QMessageBox::Icon icon, const QString& title, const QString& text) {
            if (icon == QMessageBox::Warning)
                warnings.push_back({title, text});
        };
        a.question = [this](const QString& title, const QString& text, QMessageBox::StandardButtons,
                            QMessageBox::StandardButton) {
            questions.push_back({title, text});
            const QMessageBox::StandardButton answer = buttons.empty() ? QMessageBox::Cancel : buttons.front();
            if (!buttons.empty())
                buttons.pop_front();
            return answer;
        };
        a.saveFileName = a.openFileName = [this](const CDialogSeam::FileRequest& r) {
            fileRequests.push_back({r.caption, r.filter});
            return fileAnswer;
        };
        a.item = [this](const QString& title, const QString& label, const QStringList& items) {
            itemRequests.push_back({title, label});
            offeredItems = items;
            return itemAnswer;
        };
        CDialogSeam::setAnswers(std::move(a));
    }
    ~DialogLog() { CDialogSeam::setAnswers({}); }

    QStringList warningTexts() const
    {
        QStringList texts;
        for (const Message& m : warnings)
            texts << m.text;
        return texts;
    }

    std::vector<Message> warnings;
    std::vector<Message> questions;
    std::vector<Message> itemRequests;
    QStringList offeredItems;
    std::deque<QMessageBox::StandardButton> buttons; // one per question; Cancel when none left
    std::optional<QString> itemAnswer;    // nothing: the user cancels
    std::vector<Message> fileRequests;    // caption and filter of each file dialog
    QString fileAnswer;                   // empty: the user cancels
};

} // namespace apptest
