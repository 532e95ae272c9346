#pragma once
// The monitor's controls: on/off, volume, and what it listens to: an input channel, an
// output channel, or the binaural rendering of the whole scene (two ears, last in the
// list). It only holds the choice; the application routes the audio.

#include <QWidget>

class CVolumeUnit;
class QCheckBox;
class QComboBox;

class CMonitorUnit : public QWidget {
    Q_OBJECT
public:
    CMonitorUnit(int numInputs, int numOutputs, QWidget* parent = nullptr);

    bool status() const;
    enum Section { InputSection = 0, OutputSection = 1, BinauralSection = 2 };

    // 0 for an input channel, 1 for an output channel, 2 for binaural.
    int section() const;
    // The channel's number within its section, from 0 (0 for binaural).
    int channel() const;
    // Whole decibels, truncated.
    int volume() const;
    float gain() const;

    CVolumeUnit* volumeUnit() const { return mVolumeUnit; }
    QCheckBox* statusBox() const { return mStatusBox; }
    QComboBox* channelBox() const { return mChannelBox; }

signals:
    void statusChanged(bool status);
    void channelChanged(int inout, int channel);
    void gainChanged(float gain);

public slots:
    void updateChannel(int index);
    // Sets the box without a signal.
    void setStatus(bool status);
    // A channel outside the lists changes nothing; binaural has the one channel 0.
    void setChannel(int inout, int channel);
    void setVolume(int volume);

private:
    CVolumeUnit* mVolumeUnit;
    QCheckBox* mStatusBox;
    QComboBox* mChannelBox;
    int mNumInputs;
    int mNumOutputs;
};
