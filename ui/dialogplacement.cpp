// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "dialogplacement.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>

namespace {
constexpr int edge = 4;
constexpr int rowStep = 31;
constexpr int height = 24;
constexpr int gap = 8;
constexpr int buttonsAboveBottom = 32;

// The first column of what stands beside a widget, counted from the widget's last one.
int rightOf(const QWidget *widget)
{
    return widget->geometry().right() + gap;
}

class StartInFirstField : public QObject
{
public:
    explicit StartInFirstField(QDialog *dialog) : QObject(dialog), m_dialog(dialog)
    {
        dialog->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        // The button that comes first in the focus order would take a typed blank for a press.
        if (event->type() == QEvent::Show && !event->spontaneous())
            m_dialog->findChild<QLineEdit *>()->setFocus();
        return QObject::eventFilter(watched, event);
    }

private:
    QDialog *m_dialog;
};
} // namespace

void placeForm(const QDialog *dialog, FormRows rows, QPushButton *accept, QPushButton *cancel,
               const FormPixels &pixels)
{
    int top = edge;
    for (const auto &[label, field] : rows) {
        label->setGeometry(edge, top, pixels.labelWidth, height);
        field->setGeometry(rightOf(label), top, pixels.fieldWidth, height);
        top += rowStep;
    }
    top = dialog->height() - buttonsAboveBottom;
    accept->setGeometry(dialog->width() / 2 - pixels.acceptOffset, top, pixels.buttonWidth, height);
    cancel->setGeometry(rightOf(accept), top, pixels.buttonWidth, height);
}

void placeS3Form(const QDialog *dialog, FormRows rows, QPushButton *accept, QPushButton *cancel)
{
    placeForm(dialog, rows, accept, cancel, {50, dialog->width() - 100, 72, 80});
}

void prepareForm(QDialog *dialog, QPushButton *accept, QPushButton *cancel)
{
    QObject::connect(accept, SIGNAL(clicked()), dialog, SLOT(onAccept()));
    QObject::connect(cancel, SIGNAL(clicked()), dialog, SLOT(onCancel()));
    QLabel *label = nullptr;
    for (QObject *child : dialog->children()) {
        auto *widget = qobject_cast<QWidget *>(child);
        if (widget && label) {
            label->setBuddy(widget);
            const QString name = label->text().section(QLatin1Char(':'), 0, 0);
            widget->setAccessibleName(name);
            if (auto *box = qobject_cast<QComboBox *>(widget))
                box->view()->setAccessibleName(name);
        }
        label = qobject_cast<QLabel *>(child);
    }
    new StartInFirstField(dialog);
}

void showInFront(QDialog *dialog)
{
    dialog->setWindowState(dialog->windowState() & ~Qt::WindowMinimized);
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

void closeEmptied(QDialog *dialog)
{
    dialog->close();
    for (QLineEdit *field : dialog->findChildren<QLineEdit *>())
        field->clear();
}

QString prepareProgress(QProgressDialog *dialog, const QString &title, const QString &what)
{
    constexpr int width = 380;
    dialog->setWindowTitle(title);
    dialog->setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    dialog->setAttribute(Qt::WA_ShowWithoutActivating);
    auto *label = new QLabel(dialog);
    label->setTextFormat(Qt::PlainText); // a name may look like markup
    dialog->setLabel(label);
    auto *button = new QPushButton(QProgressDialog::tr("Cancel"), dialog);
    button->setAutoDefault(false);
    dialog->setCancelButton(button);
    auto *bar = dialog->findChild<QProgressBar *>();
    bar->setAccessibleName(QProgressDialog::tr("Progress of %1").arg(what));
    bar->setFocusPolicy(Qt::TabFocus);
    bar->setFocus();
    dialog->setAutoClose(false);
    dialog->setAutoReset(false);
    dialog->setMinimumDuration(1000);
    dialog->setFixedWidth(width);
    dialog->setValue(0); // the delay begins here
    return dialog->fontMetrics().elidedText(what, Qt::ElideMiddle, width - 40);
}
