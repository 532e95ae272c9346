#pragma once
// An output file that appears under its name only when it is complete: it is written
// under a hidden temporary name in the same directory and renamed over the final name by
// commit(). Without a commit the temporary file is removed, so an interrupted or failed
// render leaves nothing that looks finished.

#include <QString>

class CPendingFile {
public:
    explicit CPendingFile(const QString& finalName);
    ~CPendingFile();
    CPendingFile(const CPendingFile&) = delete;
    CPendingFile& operator=(const CPendingFile&) = delete;

    const QString& finalName() const { return mFinalName; }
    const QString& temporaryName() const { return mTemporaryName; }

    // Renames the temporary file to the final name, replacing a file of that name.
    // False with `error` set when that fails; the temporary file is then removed.
    bool commit(QString& error);
    // Removes the temporary file.
    void discard();

private:
    QString mFinalName;
    QString mTemporaryName;
    bool mCommitted = false;
};
