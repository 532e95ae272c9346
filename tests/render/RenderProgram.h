#pragma once
// vantoria-render run as a user runs it, in a folder of its own: exit status, what it
// printed, and the files of the folder before and after. Define VK_RENDER_EXECUTABLE.

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace render_test {

struct Outcome {
    int status = -1;
    QString out;
    QString err;
};

class RenderProgram : public ::testing::Test {
protected:
    QString path(const QString& name) const { return mDir.filePath(name); }

    // Runs the program in the folder; interrupts it after `interruptAfterMs` when given.
    Outcome run(const QStringList& arguments, int interruptAfterMs = -1) const
    {
        return runProgram(VK_RENDER_EXECUTABLE, arguments, interruptAfterMs);
    }

    // As run(), with no file allowed to grow beyond `limit` blocks of the shell's ulimit
    // (512 or 1024 bytes): a write past it fails (EFBIG) as on a full disk.
    Outcome runWithFileLimit(const QStringList& arguments, int limit) const
    {
        return runProgram("/bin/sh",
                          QStringList{"-c", "trap '' XFSZ; ulimit -f \"$0\"; exec \"$@\"", QString::number(limit),
                                      VK_RENDER_EXECUTABLE}
                              + arguments);
    }

    Outcome runProgram(const QString& program, const QStringList& arguments, int interruptAfterMs = -1) const
    {
        QProcess process;
        process.setWorkingDirectory(mDir.path());
        process.start(program, arguments);
        EXPECT_TRUE(process.waitForStarted());
        if (interruptAfterMs >= 0 && !process.waitForFinished(interruptAfterMs))
            ::kill(pid_t(process.processId()), SIGINT);
        EXPECT_TRUE(process.waitForFinished(120000));
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromLocal8Bit(process.readAllStandardOutput()),
                QString::fromLocal8Bit(process.readAllStandardError())};
    }

    QStringList filesInDir() const { return QDir(mDir.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name); }

    // Every file of the folder with a digest of its bytes (a link counts as its target).
    QMap<QString, QByteArray> contentsOfDir() const
    {
        QMap<QString, QByteArray> contents;
        for (const QString& name : filesInDir()) {
            QFile file(path(name));
            contents[name] = file.open(QIODevice::ReadOnly)
                                 ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1)
                                 : QByteArray("unreadable");
        }
        return contents;
    }

    void writeText(const QString& name, const QByteArray& text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    QTemporaryDir mDir;
};

} // namespace render_test
