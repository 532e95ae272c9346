#pragma once
// One row per recording sink: its switch, the running time of its recording and the name
// of its file, which it builds from a base name with the date and time of the moment.

#include <QDateTime>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <vector>

class QCheckBox;
class QLabel;

class CRecordingSinkSelection : public QWidget {
    Q_OBJECT
public:
    enum NameFlag { WithDate = 0x01, WithTime = 0x02 };
    using Clock = std::function<QDateTime()>;

    explicit CRecordingSinkSelection(const QStringList& captions, QWidget* parent = nullptr);

    // An index outside the list changes nothing.
    void setBaseName(int sinkIndex, const QString& name);
    bool status(int sinkIndex) const;
    // base name, "_MMddyy", "_hhmmss", ".wav", made anew from the clock at each call;
    // empty for an index outside the list.
    QString fileName(int sinkIndex) const;
    // fileName in the sink's directory; the sink's label shows the name.
    QString filePath(int sinkIndex);
    QString directory(int sinkIndex) const { return validIndex(sinkIndex) ? mDirectories[sinkIndex] : QString(); }

    // A sink that cannot record at present: its switch is unchecked and disabled, with the
    // reason as its tooltip; made available again, the switch is enabled and checked as the
    // user left it. The switch stays disabled while the whole selection is disabled and
    // enabled again around it.
    void setAvailable(int sinkIndex, bool available, const QString& reason = {});

    // The source of the present date and time; the system clock unless replaced.
    void setClock(Clock clock);

    QCheckBox* sinkSwitch(int sinkIndex) const { return mSwitches.at(sinkIndex); }
    QLabel* timeLabel(int sinkIndex) const { return mTimeLabels.at(sinkIndex); }
    QLabel* fileLabel(int sinkIndex) const { return mFileLabels.at(sinkIndex); }

public slots:
    // Shows the whole seconds of the position as hh:mm:ss, running round at 24 hours.
    void setCurrentSample(int sinkIndex, int currentSample);
    // Rates below 1 are ignored.
    void setFs(int fs);

private:
    bool validIndex(int sinkIndex) const { return sinkIndex >= 0 && sinkIndex < mSinkCaptions.size(); }

    QStringList mSinkCaptions;
    QStringList mDirectories;
    QStringList mBaseNames;
    std::vector<int> mNameFlags;
    std::vector<QCheckBox*> mSwitches;
    std::vector<bool> mHeldChecks; // of each unavailable sink, its check before
    std::vector<QLabel*> mTimeLabels;
    std::vector<QLabel*> mFileLabels;
    int mFs = 1;
    Clock mClock = &QDateTime::currentDateTime;
};
