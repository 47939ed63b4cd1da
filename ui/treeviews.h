// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArrayList>

class QAbstractItemModel;
class QTreeView;

// Gives the view a model, or none, and lets go of what it kept for the one before. The widths of
// the columns stay for the next model of the same kind: local files, objects or flows.
void showModel(QTreeView *view, QAbstractItemModel *model);

// The view's properties that hold the widths, one for each kind, each a list of numbers in pixels.
QByteArrayList keptWidthsNames();
// Writes the widths of the view's columns into the property of its model's kind, and the other way
// round. Without a model nothing happens.
void keepWidths(QTreeView *view);
void applyWidths(QTreeView *view);
