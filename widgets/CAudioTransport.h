#pragma once
// The row of transport buttons: stop, pause, play and loop, of which exactly one is down,
// and record beside them. Each button's toggle becomes one request signal; the record mode
// decides whether recording runs independently of playing (mode 1) or only from a stop.

#include <QWidget>

class QPushButton;

class CAudioTransport : public QWidget {
    Q_OBJECT
public:
    enum Button { StopButton = 0x01, PauseButton = 0x02, PlayButton = 0x04, LoopButton = 0x08, RecordButton = 0x10 };
    // Codes of pressButton beside the button bits.
    enum PressCode { RecordOn = 128, RecordOff = 129 };

    // resourcePath: folder of the button images; empty gives text buttons.
    // layoutMask: the Button bits that are laid out (the others stay hidden).
    CAudioTransport(const QString& resourcePath, int layoutMask, int recordMode, QWidget* parent = nullptr);

    // Presses a button from code, as the user would: 1 stop, 2 pause, 4 play, 8 loop,
    // 128 record on, 129 record off; any other code, or a button not laid out, does nothing.
    void pressButton(int code);

    QPushButton* button(Button which) const;

signals:
    void startAudio();
    void stopAudio();
    void pauseAudio();
    void loopAudio();
    void recordAudioOn();
    void recordAudioOff();

public slots:
    void start(bool status);
    void stop(bool status);
    void pause(bool status);
    void loop(bool status);
    void record(bool status);

private:
    QPushButton* makeButton(const QString& resourcePath, const QString& text, const QString& image,
                            const QString& toolTip, bool exclusive);
    void layOut(int layoutMask);

    QPushButton* mPlayButton;
    QPushButton* mStopButton;
    QPushButton* mPauseButton;
    QPushButton* mLoopButton;
    QPushButton* mRecordButton;
    int mRecordMode;
    int mLayoutMask;
};
