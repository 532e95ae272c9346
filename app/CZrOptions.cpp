#include "app/CZrOptions.h"

#include "app/CBinauralOptions.h"
#include "app/COptionPages.h"

#include <QTabWidget>
#include <QVBoxLayout>

CZrOptions::CZrOptions(const QString& title, QWidget* parent) : QWidget(parent), mTabs(new QTabWidget)
{
    setWindowTitle(title);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mTabs);
}

template <class Page, class Signal, class Forward>
Page* CZrOptions::page(Page*& member, const char* title, Signal signal, Forward forward)
{
    if (!member) {
        member = new Page;
        mTabs->addTab(member, QString::fromLatin1(title));
        connect(member, signal, this, forward);
    }
    return member;
}

void CZrOptions::setZibOutputs(int available, int active, int first)
{
    page(mZibOutputs, "ZIB Output", &CZibOutputOptions::outputGroupsChanged, &CZrOptions::zibOutputGroupsChanged)
        ->setZibOutputs(available, active, first);
}

void CZrOptions::setZibMonitor(int available, int offset, int numChannels)
{
    page(mZibMonitor, "ZIB Monitor", &CZibMonitorOptions::monitorChannelsChanged, &CZrOptions::monitorChannelsChanged)
        ->setZibMonitor(available, offset, numChannels);
}

void CZrOptions::setOutputs(int numChannels, int offset, int numAvailable, int numDriverOutputs)
{
    page(mOutputs, "Output", &COutputOptions::outputChannelsChanged, &CZrOptions::outputChannelsChanged)
        ->setOutputs(numChannels, offset, numAvailable, numDriverOutputs);
}

void CZrOptions::setMonitor(int numChannels, int offset, int numDriverOutputs)
{
    page(mMonitor, "Monitor", &CMonitorOptions::monitorChannelsChanged, &CZrOptions::monitorChannelsChanged)
        ->setMonitor(numChannels, offset, numDriverOutputs);
}

void CZrOptions::setEmulation(bool on)
{
    page(mHardware, "Hardware", &CHardwareOptions::emulationChanged, &CZrOptions::emulationChanged)->setEmulation(on);
}

CBinauralOptions* CZrOptions::binauralPage()
{
    if (!mBinaural) {
        mBinaural = new CBinauralOptions;
        mTabs->addTab(mBinaural, QStringLiteral("Binaural and OSC"));
    }
    return mBinaural;
}

CMountingOptions* CZrOptions::mountingOptions() const { return mHardware ? mHardware->mounting() : nullptr; }
