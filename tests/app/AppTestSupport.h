#pragma once
// What the application's tests share: a QApplication for the GoogleTest runner, a fresh
// working directory per test (the ini file lives there), and DialogAnswers, which answers
// every dialog of the application and records what was asked.

#include "tests/support/DialogAnswers.h"
#include "tests/support/GuiApplication.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace apptest {

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
