#include "render/CFileIdentity.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

CFileIdentity::CFileIdentity(const QString& name)
{
    struct stat status {};
    mExists = ::stat(QFile::encodeName(name).constData(), &status) == 0;
    if (mExists) {
        mDevice = status.st_dev;
        mInode = status.st_ino;
        return;
    }
    const QFileInfo info(name);
    const QString folder = info.absoluteDir().canonicalPath();
    mPath = folder.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : QDir(folder).filePath(info.fileName());
}

bool CFileIdentity::operator==(const CFileIdentity& other) const
{
    if (mExists != other.mExists)
        return false;
    return mExists ? mDevice == other.mDevice && mInode == other.mInode : mPath == other.mPath;
}
