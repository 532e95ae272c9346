#include "widgets/CMonitorUnit.h"

#include "widgets/CVolumeUnit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include <algorithm>

CMonitorUnit::CMonitorUnit(int numInputs, int numOutputs, QWidget* parent)
    : QWidget(parent), mNumInputs(numInputs), mNumOutputs(numOutputs)
{
    mVolumeUnit = new CVolumeUnit(0, this);
    mVolumeUnit->setMakeTable(true);
    mVolumeUnit->setRange(-40, 40, 0.1f, 1, 50);
    mVolumeUnit->setTickPosition(CVolumeUnit::ScaleRight);
    mVolumeUnit->setTickLabels(10);
    mVolumeUnit->setSuffix(QString());

    mStatusBox = new QCheckBox(QStringLiteral("monitor"), this);
    mChannelBox = new QComboBox(this);
    for (int i = 1; i <= mNumInputs; ++i)
        mChannelBox->addItem(QString::number(i) + QStringLiteral(" (input)"));
    for (int i = 1; i <= mNumOutputs; ++i)
        mChannelBox->addItem(QString::number(i) + QStringLiteral(" (output)"));
    mChannelBox->addItem(QStringLiteral("binaural"));

    auto* column = new QVBoxLayout;
    column->addWidget(mStatusBox);
    column->addWidget(mChannelBox);
    column->addStretch();
    auto* row = new QHBoxLayout(this);
    row->addLayout(column);
    row->addWidget(mVolumeUnit);

    connect(mVolumeUnit, &CVolumeUnit::gainChanged, this, &CMonitorUnit::gainChanged);
    connect(mStatusBox, &QCheckBox::clicked, this, &CMonitorUnit::statusChanged);
    connect(mChannelBox, &QComboBox::currentIndexChanged, this, &CMonitorUnit::updateChannel);
}

bool CMonitorUnit::status() const { return mStatusBox->isChecked(); }

int CMonitorUnit::section() const
{
    const int index = mChannelBox->currentIndex();
    return index >= mNumInputs + mNumOutputs ? BinauralSection : index >= mNumInputs ? OutputSection : InputSection;
}

int CMonitorUnit::channel() const
{
    const int s = section();
    return s == BinauralSection ? 0 : mChannelBox->currentIndex() - s * mNumInputs;
}

int CMonitorUnit::volume() const { return static_cast<int>(mVolumeUnit->volume()); }

float CMonitorUnit::gain() const { return mVolumeUnit->gain(); }

void CMonitorUnit::updateChannel(int index)
{
    if (index < mNumInputs)
        emit channelChanged(InputSection, index);
    else if (index < mNumInputs + mNumOutputs)
        emit channelChanged(OutputSection, index - mNumInputs);
    else
        emit channelChanged(BinauralSection, 0);
}

void CMonitorUnit::setStatus(bool status) { mStatusBox->setChecked(status); }

void CMonitorUnit::setChannel(int inout, int channel)
{
    // The channel must lie in its own section: (1, -1) is not the last input.
    const int sectionSize = inout == InputSection    ? mNumInputs
                            : inout == OutputSection   ? mNumOutputs
                            : inout == BinauralSection ? 1
                                                       : 0;
    if (channel >= 0 && channel < sectionSize)
        mChannelBox->setCurrentIndex(mNumInputs * std::min(inout, 1) + (inout == BinauralSection ? mNumOutputs : 0) +
                                     channel);
}

void CMonitorUnit::setVolume(int volume) { mVolumeUnit->setVolume(static_cast<float>(volume)); }
