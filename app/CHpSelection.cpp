#include "app/CHpSelection.h"

#include <QButtonGroup>
#include <QRadioButton>
#include <QVBoxLayout>

CHpSelection::CHpSelection(QWidget* parent) : QWidget(parent), mButtons(new QButtonGroup(this))
{
    connect(mButtons, &QButtonGroup::idClicked, this, &CHpSelection::selectionChanged);
}

void CHpSelection::setup(const QStringList& labels, int index)
{
    auto* layout = new QVBoxLayout(this);
    for (int i = 0; i < labels.size(); ++i) {
        auto* button = new QRadioButton(labels[i]);
        mButtons->addButton(button, i);
        layout->addWidget(button, 0, Qt::AlignLeft);
    }
    if (QAbstractButton* checked = mButtons->button(index))
        checked->setChecked(true);
}

int CHpSelection::index() const
{
    return mButtons->checkedId();
}
