#include "render/CPendingFile.h"

#include <QFile>
#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

CPendingFile::CPendingFile(const QString& finalName)
    : mFinalName(finalName)
{
    const QFileInfo info(finalName);
    mTemporaryName = info.dir().filePath(
        QStringLiteral(".%1.%2.partial").arg(info.fileName()).arg(qint64(::getpid())));
}

CPendingFile::~CPendingFile()
{
    if (!mCommitted)
        discard();
}

bool CPendingFile::commit(QString& error)
{
    // rename(2) replaces the final name in one step: a reader never sees half a file.
    if (std::rename(QFile::encodeName(mTemporaryName).constData(), QFile::encodeName(mFinalName).constData()) != 0) {
        error = QStringLiteral("cannot write %1: %2").arg(mFinalName, QString::fromLocal8Bit(std::strerror(errno)));
        discard();
        return false;
    }
    mCommitted = true;
    return true;
}

void CPendingFile::discard()
{
    QFile::remove(mTemporaryName);
}
