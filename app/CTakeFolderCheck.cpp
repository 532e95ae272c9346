#include "app/CTakeFolderCheck.h"

#include "audiofile/CUnfinishedTake.h"
#include "widgets/CDialogSeam.h"

#include <QDir>
#include <QFileInfo>
#include <QTime>

namespace {

QString duration(double seconds)
{
    return QTime(0, 0).addSecs(int(seconds)).toString(QStringLiteral("h:mm:ss"));
}

QString nativePath(const QString& path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}

} // namespace

void CTakeFolderCheck::run(QWidget* parent, const QString& title, const QStringList& folders)
{
    QStringList seen;
    for (const QString& folder : folders) {
        const QString absolute = QFileInfo(folder).absoluteFilePath();
        if (seen.contains(absolute))
            continue;
        seen << absolute;
        checkWritable(parent, title, absolute);
        offerRepair(parent, title, absolute);
    }
}

void CTakeFolderCheck::checkWritable(QWidget* parent, const QString& title, const QString& folder)
{
    const QFileInfo info(folder);
    QString why;
    if (!info.exists())
        why = QStringLiteral("it does not exist");
    else if (!info.isDir())
        why = QStringLiteral("it is not a folder");
    else if (!info.isWritable())
        why = QStringLiteral("it is not writable");
    else
        return;
    CDialogSeam::message(parent, QMessageBox::Warning, title,
                         QStringLiteral("Takes cannot be recorded into %1: %2.\nChoose another working folder "
                                        "or change its permissions before recording.")
                             .arg(QDir::toNativeSeparators(folder), why));
}

void CTakeFolderCheck::offerRepair(QWidget* parent, const QString& title, const QString& folder)
{
    std::vector<CUnfinishedTake> takes = CUnfinishedTake::find(folder);
    QStringList repairable, damaged;
    for (const CUnfinishedTake& take : takes) {
        const QString name = QFileInfo(take.path()).fileName();
        if (take.state() == CUnfinishedTake::stateUnfinished)
            repairable << QStringLiteral("  %1 (%2 recorded)").arg(name, duration(take.seconds()));
        else
            damaged << QStringLiteral("  %1: %2").arg(name, take.reason());
    }
    const QString where = QDir::toNativeSeparators(folder);
    const QString refused =
        damaged.isEmpty() ? QString()
                          : QStringLiteral("\n\nThese were not finished either and cannot be repaired; they are left "
                                           "as they are:\n%1").arg(damaged.join(u'\n'));
    if (repairable.isEmpty()) {
        if (!damaged.isEmpty())
            CDialogSeam::message(parent, QMessageBox::Warning, title,
                                 QStringLiteral("Takes in %1 were not finished.").arg(where) + refused);
        return;
    }
    const QString question =
        QStringLiteral("The program ended while these takes in %1 were recording, so their length is wrong "
                       "for other programs:\n%2\n\nRepair them now? Each keeps every sample it holds.")
            .arg(where, repairable.join(u'\n')) + refused;
    if (CDialogSeam::question(parent, title, question, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) !=
        QMessageBox::Yes)
        return;
    QStringList failures;
    for (CUnfinishedTake& take : takes)
        if (take.state() == CUnfinishedTake::stateUnfinished && !take.repair())
            failures << QStringLiteral("  %1: %2").arg(nativePath(take.path()), take.reason());
    if (!failures.isEmpty())
        CDialogSeam::message(parent, QMessageBox::Warning, title,
                             QStringLiteral("These takes could not be repaired:\n%1").arg(failures.join(u'\n')));
}
