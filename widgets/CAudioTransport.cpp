#include "widgets/CAudioTransport.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QPushButton>
#include <QSignalBlocker>

CAudioTransport::CAudioTransport(const QString& resourcePath, int layoutMask, int recordMode, QWidget* parent)
    : QWidget(parent), mRecordMode(recordMode), mLayoutMask(layoutMask)
{
    mStopButton = makeButton(resourcePath, QStringLiteral("Stop"), QStringLiteral("stop"),
                             QStringLiteral("stop streaming audio"), true);
    mPauseButton = makeButton(resourcePath, QStringLiteral("Pause"), QStringLiteral("pause"),
                              QStringLiteral("pause streaming audio"), true);
    mPlayButton = makeButton(resourcePath, QStringLiteral("Start"), QStringLiteral("play"),
                             QStringLiteral("start streaming audio"), true);
    mLoopButton = makeButton(resourcePath, QStringLiteral("Loop"), QStringLiteral("loop"),
                             QStringLiteral("loop audio stream"), true);
    mRecordButton = makeButton(resourcePath, QStringLiteral("Rec"), QStringLiteral("record"),
                               QStringLiteral("acivate/de-activate recording"), false);
    layOut(layoutMask);

    // The stream starts stopped: the stop button is down before anyone listens.
    mStopButton->setChecked(true);

    connect(mPlayButton, &QPushButton::toggled, this, &CAudioTransport::start);
    connect(mStopButton, &QPushButton::toggled, this, &CAudioTransport::stop);
    connect(mPauseButton, &QPushButton::toggled, this, &CAudioTransport::pause);
    connect(mLoopButton, &QPushButton::toggled, this, &CAudioTransport::loop);
    connect(mRecordButton, &QPushButton::toggled, this, &CAudioTransport::record);
}

QPushButton* CAudioTransport::makeButton(const QString& resourcePath, const QString& text, const QString& image,
                                         const QString& toolTip, bool exclusive)
{
    auto* button = new QPushButton(this);
    button->setCheckable(true);
    button->setFlat(true);
    button->setAutoExclusive(exclusive);
    button->setToolTip(toolTip);
    if (resourcePath.isEmpty()) {
        button->setText(text);
        return button;
    }
    QIcon icon;
    const QSize imageSize(512, 512);
    icon.addFile(resourcePath + QLatin1Char('/') + image + QStringLiteral("Inactive.png"), imageSize,
                 QIcon::Normal, QIcon::Off);
    icon.addFile(resourcePath + QLatin1Char('/') + image + QStringLiteral("Active.png"), imageSize,
                 QIcon::Normal, QIcon::On);
    button->setIcon(icon);
    button->setIconSize(QSize(64, 64));
    return button;
}

void CAudioTransport::layOut(int layoutMask)
{
    auto* playRow = new QHBoxLayout;
    const std::pair<QPushButton*, int> exclusive[] = {
        {mStopButton, StopButton}, {mPauseButton, PauseButton}, {mPlayButton, PlayButton}, {mLoopButton, LoopButton}};
    for (const auto& [button, bit] : exclusive) {
        if (layoutMask & bit)
            playRow->addWidget(button);
        else
            button->hide();
    }
    auto* row = new QHBoxLayout(this);
    row->addLayout(playRow);
    if (layoutMask & RecordButton) {
        auto* recordRow = new QHBoxLayout;
        recordRow->addWidget(mRecordButton);
        row->addLayout(recordRow);
    } else {
        mRecordButton->hide();
    }
}

QPushButton* CAudioTransport::button(Button which) const
{
    switch (which) {
    case StopButton: return mStopButton;
    case PauseButton: return mPauseButton;
    case PlayButton: return mPlayButton;
    case LoopButton: return mLoopButton;
    case RecordButton: return mRecordButton;
    }
    return nullptr;
}

void CAudioTransport::pressButton(int code)
{
    // A button that isn't laid out can't be pressed: one of those shown stays down.
    const int bit = code == RecordOn || code == RecordOff ? RecordButton : code;
    if (!(bit & mLayoutMask))
        return;
    switch (code) {
    case StopButton: mStopButton->setChecked(true); break;
    case PauseButton: mPauseButton->setChecked(true); break;
    case PlayButton: mPlayButton->setChecked(true); break;
    case LoopButton: mLoopButton->setChecked(true); break;
    case RecordOn: mRecordButton->setChecked(true); break;
    case RecordOff: mRecordButton->setChecked(false); break;
    default: break;
    }
}

void CAudioTransport::start(bool status)
{
    if (status)
        emit startAudio();
}

void CAudioTransport::pause(bool status)
{
    if (status)
        emit pauseAudio();
}

void CAudioTransport::loop(bool status)
{
    if (status)
        emit loopAudio();
}

void CAudioTransport::stop(bool status)
{
    if (mRecordMode == 1) {
        if (!status)
            return;
        emit stopAudio();
        if (mRecordButton->isChecked()) {
            // Releasing the button runs record(false), which reports the end again.
            emit recordAudioOff();
            mRecordButton->setChecked(false);
        }
        return;
    }
    if (status) {
        emit stopAudio();
        mRecordButton->setEnabled(true);
    } else if (!mRecordButton->isChecked()) {
        mRecordButton->setEnabled(false);
    }
}

void CAudioTransport::record(bool status)
{
    if (mRecordMode == 1) {
        mLoopButton->setEnabled(!status);
        if (status)
            emit recordAudioOn();
        else
            emit recordAudioOff();
        return;
    }
    if (!mStopButton->isChecked()) {
        // The recording state can't change while audio runs: undo the toggle silently.
        const QSignalBlocker blocker(mRecordButton);
        mRecordButton->setChecked(!status);
        return;
    }
    mPauseButton->setEnabled(!status);
    mLoopButton->setEnabled(!status);
    if (status)
        emit recordAudioOn();
    else
        emit recordAudioOff();
}
