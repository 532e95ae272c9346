#pragma once
// The pages of the options window. With the interface box present the user picks its
// named output groups for the beams and a group and offset for the monitor; with any
// other driver, numbered driver channels. Each page keeps count and offset consistent
// with the channels that exist, asks how to resolve a conflict, and on Cancel puts the
// control back without a signal. Controls set from code never run the page's slots.
// A fifth page holds the switch between the emulated and the real hardware and the
// array's mounting.

#include <QWidget>

#include <array>

class CMountingOptions;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QRadioButton;

// The box's output groups, in the order of every list and row.
struct CZibOutputGroup {
    int bit;
    const char* label;
    int firstChannel;
    int channels;
};
constexpr std::array<CZibOutputGroup, 3> kZibOutputGroups{{
    {1, "headphone", 0, 2},
    {2, "ADAT", 8, 8},
    {4, "8-LO", 16, 8},
}};

class CZibOutputOptions : public QWidget {
    Q_OBJECT

public:
    explicit CZibOutputOptions(QWidget* parent = nullptr);
    void setZibOutputs(int available, int active, int first);

    QCheckBox* activeBox(int row) const { return mActive[static_cast<std::size_t>(row)]; }
    QRadioButton* firstButton(int row) const { return mFirst[static_cast<std::size_t>(row)]; }

signals:
    void outputGroupsChanged(int activeGroups, int firstGroup);

public slots:
    void updateActiveOutputs(int output);
    void updateFirstOutput(int output);

private:
    std::array<QCheckBox*, 3> mActive{};
    std::array<QLabel*, 3> mLabels{};
    std::array<QRadioButton*, 3> mFirst{};
    int mActiveGroups = 0;
    int mFirstGroup = 0;
};

// Number of monitor outputs (1 or 2) and the first of them.
class CMonitorOptions : public QWidget {
    Q_OBJECT

public:
    explicit CMonitorOptions(QWidget* parent = nullptr);
    void setMonitor(int numChannels, int offset, int numDriverOutputs);

    QComboBox* offsetCombo() const { return mOffsetCombo; }
    QRadioButton* channelsButton(int n) const;

signals:
    void monitorChannelsChanged(int numChannels, int offset);

public slots:
    void updateNumMonitorChannels(int numMonitorChannels);
    void updateStartChannel(int startChannel);

protected:
    // `extraRows` rows are left free between the channel and offset rows.
    CMonitorOptions(QWidget* parent, int extraRows);
    // Refills the offset combo with items "0" to count - 1 when its count differs; the
    // offset then is 0.
    void fillOffsets(int count);
    // Shows `offset` limited to what the channels now chosen leave, then checks the
    // radio button of `numChannels` when that many fit from there.
    void showOffset(int offset, int numChannels);
    int chosenChannels() const;
    // The channel that offset 0 stands for.
    virtual int base() const { return 0; }

    QGridLayout* mGrid = nullptr;
    QButtonGroup* mChannels = nullptr;
    QComboBox* mOffsetCombo = nullptr;
    int mOffset = 0;
};

// The monitor on the box: a group, and an offset within it.
class CZibMonitorOptions : public CMonitorOptions {
    Q_OBJECT

public:
    explicit CZibMonitorOptions(QWidget* parent = nullptr);
    // `offset` is an absolute channel; it selects the group that holds it.
    void setZibMonitor(int available, int offset, int numChannels);

    QComboBox* groupCombo() const { return mGroupCombo; }

public slots:
    void updateOutputGroup(int groupIndex);

protected:
    int base() const override { return mGroupBase; }

private:
    QComboBox* mGroupCombo = nullptr;
    int mGroupBase = 0;
};

// Beam outputs on a driver other than the box's: how many, from which channel.
class COutputOptions : public QWidget {
    Q_OBJECT

public:
    explicit COutputOptions(QWidget* parent = nullptr);
    void setOutputs(int numChannels, int offset, int numAvailable, int numDriverOutputs);

    QComboBox* numberCombo() const { return mNumberCombo; }
    QComboBox* offsetCombo() const { return mOffsetCombo; }

signals:
    void outputChannelsChanged(int numChannels, int offset);

public slots:
    void updateNumOutputChannels(int index);
    void updateStartChannel(int startChannel);

private:
    QComboBox* mNumberCombo = nullptr;
    QComboBox* mOffsetCombo = nullptr;
    int mNumChannels = 0;
    int mOffset = 0;
};

// Emulated or real hardware (takes effect at the next start), and the array's mounting.
class CHardwareOptions : public QWidget {
    Q_OBJECT

public:
    explicit CHardwareOptions(QWidget* parent = nullptr);
    void setEmulation(bool on);

    QCheckBox* emulationBox() const { return mEmulation; }
    CMountingOptions* mounting() const { return mMounting; }

signals:
    void emulationChanged(bool on);

private:
    QCheckBox* mEmulation = nullptr;
    CMountingOptions* mMounting = nullptr;
};
