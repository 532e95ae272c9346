#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QDir>
#include <QGridLayout>
#include <QLabel>
#include <QTime>

CRecordingSinkSelection::CRecordingSinkSelection(const QStringList& captions, QWidget* parent)
    : QWidget(parent), mSinkCaptions(captions)
{
    auto* grid = new QGridLayout(this);
    for (int i = 0; i < captions.size(); ++i) {
        mDirectories << QStringLiteral("./");
        mBaseNames << QStringLiteral("file") + QString::number(i);
        mNameFlags.push_back(WithDate | WithTime);
        mHeldChecks.push_back(false);

        mSwitches.push_back(new QCheckBox(captions[i], this));
        mTimeLabels.push_back(new QLabel(this));
        setCurrentSample(i, 0);
        auto* fileLabel = new QLabel(this);
        fileLabel->setMinimumSize(120, fileLabel->sizeHint().height());
        fileLabel->setBackgroundRole(QPalette::Light);
        fileLabel->setAutoFillBackground(true);
        mFileLabels.push_back(fileLabel);

        grid->addWidget(mSwitches[i], i, 0, Qt::AlignLeft);
        grid->addWidget(mTimeLabels[i], i, 1, Qt::AlignRight);
        grid->addWidget(fileLabel, i, 2, Qt::AlignLeft);
    }
}

void CRecordingSinkSelection::setBaseName(int sinkIndex, const QString& name)
{
    if (validIndex(sinkIndex))
        mBaseNames[sinkIndex] = name;
}

bool CRecordingSinkSelection::status(int sinkIndex) const
{
    return validIndex(sinkIndex) && mSwitches[sinkIndex]->isChecked();
}

QString CRecordingSinkSelection::fileName(int sinkIndex) const
{
    if (!validIndex(sinkIndex))
        return {};
    // One reading of the clock, so that date and time never straddle midnight.
    const QDateTime now = mClock();
    QString name = mBaseNames[sinkIndex];
    if (mNameFlags[sinkIndex] & WithDate)
        name += now.date().toString(QStringLiteral("_MMddyy"));
    if (mNameFlags[sinkIndex] & WithTime)
        name += now.time().toString(QStringLiteral("_hhmmss"));
    return name + QStringLiteral(".wav");
}

QString CRecordingSinkSelection::filePath(int sinkIndex)
{
    const QString name = fileName(sinkIndex);
    if (name.isEmpty())
        return {};
    mFileLabels[sinkIndex]->setText(name);
    const QString& directory = mDirectories[sinkIndex];
    return directory.isEmpty() ? name : QDir(directory).filePath(name);
}

void CRecordingSinkSelection::setAvailable(int sinkIndex, bool available, const QString& reason)
{
    if (!validIndex(sinkIndex))
        return;
    QCheckBox* sinkSwitch = mSwitches[sinkIndex];
    if (sinkSwitch->isEnabledTo(this) == available)
        return;
    if (available) {
        sinkSwitch->setChecked(mHeldChecks[sinkIndex]);
        sinkSwitch->setToolTip({});
    } else {
        mHeldChecks[sinkIndex] = sinkSwitch->isChecked();
        sinkSwitch->setChecked(false);
        sinkSwitch->setToolTip(reason);
    }
    sinkSwitch->setEnabled(available);
}

void CRecordingSinkSelection::setClock(Clock clock)
{
    mClock = std::move(clock);
}

void CRecordingSinkSelection::setCurrentSample(int sinkIndex, int currentSample)
{
    if (!validIndex(sinkIndex))
        return;
    const QTime time = QTime(0, 0).addSecs(currentSample / mFs);
    mTimeLabels[sinkIndex]->setText(time.toString(QStringLiteral("hh:mm:ss")));
}

void CRecordingSinkSelection::setFs(int fs)
{
    if (fs >= 1)
        mFs = fs;
}
