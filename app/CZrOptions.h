#pragma once
// The options window: either the box's two pages or the driver's two pages, each made
// when first set up, the hardware page (with the array's mounting) and the page for
// binaural monitoring and OSC. Its signals carry the pages' changes to the
// application, which stores them and rebuilds the audio chain.

#include <QWidget>

class QTabWidget;
class CZibOutputOptions;
class CZibMonitorOptions;
class COutputOptions;
class CMonitorOptions;
class CHardwareOptions;
class CBinauralOptions;
class CMountingOptions;

class CZrOptions : public QWidget {
    Q_OBJECT

public:
    explicit CZrOptions(const QString& title, QWidget* parent = nullptr);

    void setZibOutputs(int available, int active, int first);
    void setZibMonitor(int available, int offset, int numChannels);
    void setOutputs(int numChannels, int offset, int numAvailable, int numDriverOutputs);
    void setMonitor(int numChannels, int offset, int numDriverOutputs);
    void setEmulation(bool on);

    QTabWidget* tabs() const { return mTabs; }
    CZibOutputOptions* zibOutputPage() const { return mZibOutputs; }
    CZibMonitorOptions* zibMonitorPage() const { return mZibMonitor; }
    COutputOptions* outputPage() const { return mOutputs; }
    CMonitorOptions* monitorPage() const { return mMonitor; }
    CHardwareOptions* hardwarePage() const { return mHardware; }
    // Made on first use; the hardware page's mounting section once setEmulation made it.
    CBinauralOptions* binauralPage();
    CMountingOptions* mountingOptions() const;

signals:
    void monitorChannelsChanged(int numChannels, int offset);
    void outputChannelsChanged(int numChannels, int offset);
    void zibOutputGroupsChanged(int activeGroups, int firstGroup);
    void emulationChanged(bool on);

private:
    // The page, made, added under `title` and connected on first use.
    template <class Page, class Signal, class Forward>
    Page* page(Page*& member, const char* title, Signal signal, Forward forward);

    QTabWidget* mTabs;
    CZibOutputOptions* mZibOutputs = nullptr;
    CZibMonitorOptions* mZibMonitor = nullptr;
    COutputOptions* mOutputs = nullptr;
    CMonitorOptions* mMonitor = nullptr;
    CHardwareOptions* mHardware = nullptr;
    CBinauralOptions* mBinaural = nullptr;
};
