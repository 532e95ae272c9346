#include "app/COptionPages.h"

#include "app/CMountingOptions.h"
#include "widgets/CDialogSeam.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace {
const QString kZibTitle = QStringLiteral("ZIB Options");
const QString kMonitorTitle = QStringLiteral("Monitor Options");
const QString kOutputTitle = QStringLiteral("Output Options");

// A question with OK and Cancel, Cancel the default; true for OK.
bool confirm(QWidget* parent, const QString& title, const QString& text)
{
    return CDialogSeam::question(parent, title, text, QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel) ==
           QMessageBox::Ok;
}

QLabel* rowLabel(const QString& text)
{
    auto* label = new QLabel(text);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return label;
}

// Items "first" to "first + count - 1"; no slot runs.
void fillNumbers(QComboBox* combo, int first, int count)
{
    const QSignalBlocker block(combo);
    combo->clear();
    for (int i = 0; i < count; ++i)
        combo->addItem(QString::number(first + i));
}

void showIndex(QComboBox* combo, int index)
{
    const QSignalBlocker block(combo);
    combo->setCurrentIndex(index);
}

QRadioButton* addRadio(QButtonGroup* group, QHBoxLayout* row, int id)
{
    auto* button = new QRadioButton(QString::number(id));
    group->addButton(button, id);
    row->addWidget(button);
    return button;
}
} // namespace

// ---- CZibOutputOptions

CZibOutputOptions::CZibOutputOptions(QWidget* parent) : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    const char* heads[] = {"active", "group", "first group"};
    for (int col = 0; col < 3; ++col)
        grid->addWidget(new QLabel(QString::fromLatin1(heads[col])), 0, col, Qt::AlignHCenter);
    auto* actives = new QButtonGroup(this);
    actives->setExclusive(false);
    auto* firsts = new QButtonGroup(this);
    for (int row = 0; row < 3; ++row) {
        const auto r = static_cast<std::size_t>(row);
        mActive[r] = new QCheckBox;
        mLabels[r] = new QLabel(QString::fromLatin1(kZibOutputGroups[r].label));
        mFirst[r] = new QRadioButton;
        actives->addButton(mActive[r], row);
        firsts->addButton(mFirst[r], row);
        grid->addWidget(mActive[r], row + 1, 0, Qt::AlignHCenter);
        grid->addWidget(mLabels[r], row + 1, 1, Qt::AlignHCenter);
        grid->addWidget(mFirst[r], row + 1, 2, Qt::AlignHCenter);
    }
    connect(actives, &QButtonGroup::idClicked, this, &CZibOutputOptions::updateActiveOutputs);
    connect(firsts, &QButtonGroup::idClicked, this, &CZibOutputOptions::updateFirstOutput);
}

void CZibOutputOptions::setZibOutputs(int available, int active, int first)
{
    mActiveGroups = 0;
    mFirstGroup = first;
    for (std::size_t r = 0; r < 3; ++r) {
        const int bit = kZibOutputGroups[r].bit;
        const bool has = (available & bit) != 0;
        const bool on = has && (active & bit) != 0; // a group the box lacks is never active
        mActive[r]->setEnabled(has);
        mLabels[r]->setEnabled(has);
        mActive[r]->setChecked(on);
        mFirst[r]->setEnabled(on);
        if (on)
            mActiveGroups |= bit;
    }
    for (std::size_t r = 0; r < 3; ++r)
        if (mActiveGroups & kZibOutputGroups[r].bit) {
            mFirst[r]->setChecked(true);
            mFirstGroup = kZibOutputGroups[r].bit;
            break;
        }
    for (std::size_t r = 0; r < 3; ++r)
        if (kZibOutputGroups[r].bit == first && mFirst[r]->isEnabled()) {
            mFirst[r]->setChecked(true);
            mFirstGroup = first;
        }
}

void CZibOutputOptions::updateActiveOutputs(int output)
{
    const auto r = static_cast<std::size_t>(output);
    const int bit = kZibOutputGroups[r].bit;
    if (mActive[r]->isChecked()) {
        mActiveGroups |= bit;
        mFirst[r]->setEnabled(true);
    } else if (mActiveGroups == bit) {
        CDialogSeam::message(this, QMessageBox::Warning, kZibTitle,
                             QStringLiteral("One output group has to remain active!"));
        mActive[r]->setChecked(true);
        return;
    } else if (mFirst[r]->isChecked()) {
        CDialogSeam::message(
            this, QMessageBox::Warning, kZibTitle,
            QStringLiteral("Please set the \"first output\" to another output group before disabling this output"));
        mActive[r]->setChecked(true);
        return;
    } else {
        mActiveGroups &= ~bit;
        mFirst[r]->setEnabled(false);
    }
    emit outputGroupsChanged(mActiveGroups, mFirstGroup);
}

void CZibOutputOptions::updateFirstOutput(int output)
{
    mFirstGroup = kZibOutputGroups[static_cast<std::size_t>(output)].bit;
    emit outputGroupsChanged(mActiveGroups, mFirstGroup);
}

// ---- CMonitorOptions

CMonitorOptions::CMonitorOptions(QWidget* parent) : CMonitorOptions(parent, 0) {}

CMonitorOptions::CMonitorOptions(QWidget* parent, int extraRows) : QWidget(parent)
{
    mGrid = new QGridLayout(this);
    mChannels = new QButtonGroup(this);
    auto* radios = new QHBoxLayout;
    addRadio(mChannels, radios, 1)->setChecked(true);
    addRadio(mChannels, radios, 2);
    mOffsetCombo = new QComboBox;
    mGrid->addWidget(rowLabel(QStringLiteral("Number of channels:")), 0, 0);
    mGrid->addLayout(radios, 0, 1);
    mGrid->addWidget(rowLabel(QStringLiteral("Channel offset:")), 1 + extraRows, 0);
    mGrid->addWidget(mOffsetCombo, 1 + extraRows, 1);
    connect(mChannels, &QButtonGroup::idClicked, this, &CMonitorOptions::updateNumMonitorChannels);
    connect(mOffsetCombo, &QComboBox::currentIndexChanged, this, &CMonitorOptions::updateStartChannel);
}

QRadioButton* CMonitorOptions::channelsButton(int n) const
{
    return qobject_cast<QRadioButton*>(mChannels->button(n));
}

void CMonitorOptions::setMonitor(int numChannels, int offset, int numDriverOutputs)
{
    fillOffsets(numDriverOutputs);
    showOffset(offset, numChannels);
}

void CMonitorOptions::fillOffsets(int count)
{
    if (mOffsetCombo->count() == count)
        return;
    fillNumbers(mOffsetCombo, 0, std::max(count, 0));
    mOffset = 0;
}

void CMonitorOptions::showOffset(int offset, int numChannels)
{
    mOffset = std::clamp(offset, 0, std::max(mOffsetCombo->count() - chosenChannels(), 0));
    showIndex(mOffsetCombo, mOffset);
    if ((numChannels == 1 || numChannels == 2) && mOffsetCombo->count() - mOffset >= numChannels)
        channelsButton(numChannels)->setChecked(true);
}

int CMonitorOptions::chosenChannels() const
{
    return channelsButton(1)->isChecked() ? 1 : 2;
}

void CMonitorOptions::updateNumMonitorChannels(int numMonitorChannels)
{
    if (mOffsetCombo->count() - mOffset < numMonitorChannels) {
        if (!confirm(this, kMonitorTitle,
                                   QStringLiteral("There are not enough channels available beyond the current "
                                                  "offset.\nDo you want to reduce the offset by one?"))) {
            channelsButton(1)->setChecked(true);
            return;
        }
        mOffset = std::max(mOffset - 1, 0);
        showIndex(mOffsetCombo, mOffset);
    }
    emit monitorChannelsChanged(numMonitorChannels, base() + mOffset);
}

void CMonitorOptions::updateStartChannel(int startChannel)
{
    int n = chosenChannels();
    if (mOffsetCombo->count() - startChannel < n) {
        if (!confirm(this, kMonitorTitle,
                                   QStringLiteral("There are not enough channels available beyond the offset "
                                                  "selection.\nDo you want to reduce the number of monitor "
                                                  "channels?"))) {
            showIndex(mOffsetCombo, mOffset);
            return;
        }
        channelsButton(1)->setChecked(true);
        n = 1;
    }
    mOffset = startChannel;
    emit monitorChannelsChanged(n, base() + startChannel);
}

// ---- CZibMonitorOptions

CZibMonitorOptions::CZibMonitorOptions(QWidget* parent) : CMonitorOptions(parent, 1)
{
    mGroupCombo = new QComboBox;
    mGrid->addWidget(rowLabel(QStringLiteral("Output Group:")), 1, 0);
    mGrid->addWidget(mGroupCombo, 1, 1);
    connect(mGroupCombo, &QComboBox::currentIndexChanged, this, &CZibMonitorOptions::updateOutputGroup);
}

void CZibMonitorOptions::setZibMonitor(int available, int offset, int numChannels)
{
    {
        const QSignalBlocker block(mGroupCombo);
        mGroupCombo->clear();
        for (const CZibOutputGroup& g : kZibOutputGroups)
            if (available & g.bit)
                mGroupCombo->addItem(QString::fromLatin1(g.label));
    }
    int group = 0;
    int within = 0;
    for (int i = 0; i < mGroupCombo->count(); ++i) {
        const CZibOutputGroup& g = kZibOutputGroups[static_cast<std::size_t>(i)];
        if (offset >= g.firstChannel && offset < g.firstChannel + g.channels) {
            group = i;
            within = offset - g.firstChannel;
            break;
        }
    }
    const CZibOutputGroup& g = kZibOutputGroups[static_cast<std::size_t>(group)];
    mGroupBase = g.firstChannel;
    showIndex(mGroupCombo, group);
    fillOffsets(g.channels);
    showOffset(within, numChannels);
}

void CZibMonitorOptions::updateOutputGroup(int groupIndex)
{
    if (groupIndex < 0)
        return;
    const CZibOutputGroup& g = kZibOutputGroups[static_cast<std::size_t>(groupIndex)];
    mGroupBase = g.firstChannel;
    fillNumbers(mOffsetCombo, 0, g.channels);
    mOffset = 0;
    emit monitorChannelsChanged(chosenChannels(), mGroupBase + mOffset);
}

// ---- COutputOptions

COutputOptions::COutputOptions(QWidget* parent) : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    mNumberCombo = new QComboBox;
    mOffsetCombo = new QComboBox;
    grid->addWidget(rowLabel(QStringLiteral("Number of channels:")), 0, 0);
    grid->addWidget(mNumberCombo, 0, 1);
    grid->addWidget(rowLabel(QStringLiteral("Channel offset:")), 1, 0);
    grid->addWidget(mOffsetCombo, 1, 1);
    connect(mNumberCombo, &QComboBox::currentIndexChanged, this, &COutputOptions::updateNumOutputChannels);
    connect(mOffsetCombo, &QComboBox::currentIndexChanged, this, &COutputOptions::updateStartChannel);
}

void COutputOptions::setOutputs(int numChannels, int offset, int numAvailable, int numDriverOutputs)
{
    if (mOffsetCombo->count() != numDriverOutputs)
        fillNumbers(mOffsetCombo, 0, std::max(numDriverOutputs, 0));
    if (mNumberCombo->count() != numAvailable)
        fillNumbers(mNumberCombo, 1, std::max(numAvailable, 0));
    const int outputs = mOffsetCombo->count();
    mOffset = std::clamp(offset, 0, std::max(outputs - mNumChannels, 0));
    showIndex(mOffsetCombo, mOffset);
    mNumChannels = numChannels > outputs - mOffset ? mNumberCombo->count() - mOffset : numChannels;
    mNumChannels = std::clamp(mNumChannels, 0, mNumberCombo->count());
    showIndex(mNumberCombo, mNumChannels - 1);
}

void COutputOptions::updateNumOutputChannels(int index)
{
    const int n = index + 1;
    if (n == mNumChannels)
        return;
    const int outputs = mOffsetCombo->count();
    if (outputs - mOffset < n) {
        if (!confirm(this, kOutputTitle,
                                   QStringLiteral("There are not enough channels available beyond the current "
                                                  "offset.\nDo you want to reduce the offset?"))) {
            showIndex(mNumberCombo, mNumChannels - 1);
            return;
        }
        mOffset = outputs - n;
        showIndex(mOffsetCombo, mOffset);
    }
    mNumChannels = n;
    emit outputChannelsChanged(mNumChannels, mOffset);
}

void COutputOptions::updateStartChannel(int startChannel)
{
    if (startChannel == mOffset)
        return;
    const int outputs = mOffsetCombo->count();
    if (outputs - startChannel < mNumChannels) {
        if (!confirm(this, kOutputTitle,
                                   QStringLiteral("There are not enough channels available beyond the offset "
                                                  "selection.\nDo you want to reduce the number of output "
                                                  "channels?"))) {
            showIndex(mOffsetCombo, mOffset);
            return;
        }
        mNumChannels = outputs - startChannel;
        showIndex(mNumberCombo, mNumChannels - 1);
    }
    mOffset = startChannel;
    emit outputChannelsChanged(mNumChannels, mOffset);
}

// ---- CHardwareOptions

CHardwareOptions::CHardwareOptions(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    mEmulation = new QCheckBox(QStringLiteral("Emulate the interface box and the microphone array"));
    layout->addWidget(mEmulation);
    layout->addWidget(new QLabel(QStringLiteral("Takes effect at the next start.")));
    mMounting = new CMountingOptions;
    layout->addWidget(mMounting);
    layout->addStretch(1);
    connect(mEmulation, &QCheckBox::toggled, this, &CHardwareOptions::emulationChanged);
}

void CHardwareOptions::setEmulation(bool on)
{
    const QSignalBlocker block(mEmulation);
    mEmulation->setChecked(on);
}
