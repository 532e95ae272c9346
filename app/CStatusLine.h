#pragma once
// The line under the main window: the audio device in use, its sample rate and block
// length, the latency in samples (the beamformer's and the driver's both ways), the audio
// thread's load and the callbacks it missed; then the binaural monitor's latency and the OSC
// server's state (setSceneNote).
// The load and the missed count are what the callback publishes as atomics; refresh()
// reads them on the main thread, called by the window's 60 ms timer.

#include <QStatusBar>

class CAudioDevice;
class QLabel;

class CStatusLine : public QStatusBar {
    Q_OBJECT

public:
    // The beamformer delays every pattern alike: the modal filter delay (125), the
    // crossover delay (27) and the equaliser delay (15).
    static constexpr int kBeamformerLatency = 167;

    explicit CStatusLine(QWidget* parent = nullptr);

    void refresh(const CAudioDevice& device);
    QString text() const;
    // A word on the takes shown behind the device's figures until cleared (empty).
    void setRecordingNote(const QString& note) { mRecordingNote = note; }
    // The scene's figures shown behind the device's (binaural latency, OSC).
    void setSceneNote(const QString& note) { mSceneNote = note; }

private:
    QLabel* mLabel;
    QString mRecordingNote;
    QString mSceneNote;
};
