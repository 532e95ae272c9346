#pragma once
// The high-pass corner selector: one radio button per corner, the checked one's position
// is the index.

#include <QStringList>
#include <QWidget>

class QButtonGroup;

class CHpSelection : public QWidget {
    Q_OBJECT

public:
    explicit CHpSelection(QWidget* parent = nullptr);
    // Once: one button per label, the one at `index` checked.
    void setup(const QStringList& labels, int index);
    int index() const;
    QButtonGroup* buttons() const { return mButtons; }

signals:
    void selectionChanged(int index);

private:
    QButtonGroup* mButtons;
};
