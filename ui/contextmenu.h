// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QKeySequence>
#include <functional>

class QAction;
class QObject;
class QString;
class QWidget;

// Adds an action to the context menu of a widget, which has no other menu from then on. The action
// belongs to `owner` and goes with it; its keys are for the widget's whole window.
QAction *addMenuAction(QWidget *widget, QObject *owner, const QString &text,
                       const std::function<void()> &run, const QKeySequence &keys = {});
