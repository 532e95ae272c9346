#include "widgets/CInputVolume.h"

#include "widgets/CVolumeUnit.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>

#include <cmath>

CInputVolume::CInputVolume(QWidget* parent) : QWidget(parent)
{
    for (int step : mPreampSteps)
        mPreampGains.push_back(static_cast<float>(std::pow(10.0, 0.05 * step)));

    mSliderUnit = new CVolumeUnit(CVolumeUnit::MuteButton, this);
    mSliderUnit->setMakeTable(true);
    mSliderUnit->setRange(mSliderMin, mSliderMax, 0.1f, 1, 10);
    mSliderUnit->setTickPosition(CVolumeUnit::ScaleRight);
    mSliderUnit->setTickLabels(5);
    mSliderUnit->setSuffix(QString());

    auto* grid = new QGridLayout;
    mPreampGroup = new QButtonGroup(this);
    const int steps = static_cast<int>(mPreampSteps.size());
    for (int index = steps - 1; index >= 0; --index) {
        const int row = steps - 1 - index;
        auto* radio = new QRadioButton(this);
        mPreampGroup->addButton(radio, index);
        grid->addWidget(radio, row, 0, Qt::AlignRight);
        grid->addWidget(new QLabel(QString::number(mPreampSteps[index]) + QStringLiteral(" dB"), this), row, 1,
                        Qt::AlignRight);
    }
    auto* row = new QHBoxLayout(this);
    row->addLayout(grid);
    row->addSpacing(10);
    row->addWidget(mSliderUnit);

    mSliderGain = mSliderUnit->gain();
    selectPreamp(0);

    connect(mSliderUnit, &CVolumeUnit::gainChanged, this, &CInputVolume::updateSliderGain);
    connect(mSliderUnit, &CVolumeUnit::muteClicked, this, &CInputVolume::muteClicked);
    connect(mPreampGroup, &QButtonGroup::idClicked, this, &CInputVolume::updatePreampVolume);
}

void CInputVolume::selectPreamp(int index)
{
    mPreampIndex = index;
    mPreampGain = mPreampGains[index];
    mGain = mSliderGain * mPreampGain;
    mPreampGroup->button(index)->setChecked(true);
}

void CInputVolume::setPreampVolume(int volume)
{
    // Above the highest step there is none to take: keep the highest.
    int index = static_cast<int>(mPreampSteps.size()) - 1;
    for (int i = 0; i < static_cast<int>(mPreampSteps.size()); ++i)
        if (mPreampSteps[i] >= volume) {
            index = i;
            break;
        }
    selectPreamp(index);
}

void CInputVolume::setSliderVolume(int volume)
{
    mSliderUnit->setVolume(static_cast<float>(volume));
    mSliderGain = mSliderUnit->gain();
    mGain = mSliderGain * mPreampGain;
}

int CInputVolume::sliderVolume() const
{
    return static_cast<int>(mSliderUnit->volume());
}

void CInputVolume::updatePreampVolume(int buttonID)
{
    if (buttonID < 0 || buttonID >= static_cast<int>(mPreampSteps.size()))
        return;
    mPreampIndex = buttonID;
    mPreampGain = mPreampGains[buttonID];
    mGain = mSliderGain * mPreampGain;
    emit preampVolumeChanged(mPreampSteps[buttonID]);
    emit gainChanged(mGain);
}

void CInputVolume::updateSliderGain(float gain)
{
    mSliderGain = gain;
    mGain = mSliderGain * mPreampGain;
    emit sliderGainChanged(gain);
    emit gainChanged(mGain);
}
