#pragma once
// What the application's tests share: a QApplication for the GoogleTest runner, a fresh
// working directory per test (the ini file lives there), and DialogAnswers, which answers
// every dialog of the application and records what was asked.

#include "tests/support/DialogAnswers.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

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

} // namespace apptest
