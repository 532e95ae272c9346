#pragma once
// What makes two names one file. A file that exists is its device and inode, found after
// following links, so "./take.wav", a symbolic link to it and a hard link to it are all
// the same file. A name that does not exist yet is its path in the canonical form of its
// folder, so two spellings of one new output still meet.

#include <QString>

#include <sys/types.h>

class CFileIdentity {
public:
    explicit CFileIdentity(const QString& name);

    bool operator==(const CFileIdentity& other) const;

private:
    bool mExists = false;
    dev_t mDevice = 0;
    ino_t mInode = 0;
    QString mPath;
};
