#include "app/CStatusLine.h"

#include "session/CAudioDevice.h"
#include "device/vkHost.h"

#include <QLabel>

#include <algorithm>
#include <cmath>

CStatusLine::CStatusLine(QWidget* parent) : QStatusBar(parent), mLabel(new QLabel(this))
{
    setSizeGripEnabled(false);
    addWidget(mLabel, 1);
}

void CStatusLine::refresh(const CAudioDevice& device)
{
    if (!device.isOpen()) {
        mLabel->setText(tr("No audio device"));
        return;
    }
    const int load = static_cast<int>(std::lround(100.0f * std::max(0.0f, hostLoad())));
    mLabel->setText(tr("%1  |  %2 Hz, block %3  |  latency %4 samples  |  DSP %5 %  |  missed callbacks %6")
                        .arg(device.mDevice)
                        .arg(static_cast<double>(device.mSampleRate), 0, 'f', 0)
                        .arg(device.mBlockLength)
                        .arg(kBeamformerLatency + hostInputLatency() + hostOutputLatency())
                        .arg(load)
                        .arg(hostMissedCallbacks()) +
                    (mSceneNote.isEmpty() ? QString() : QStringLiteral("  |  ") + mSceneNote) +
                    (mRecordingNote.isEmpty() ? QString() : QStringLiteral("  |  ") + mRecordingNote));
}

QString CStatusLine::text() const
{
    return mLabel->text();
}
