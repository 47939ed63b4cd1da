// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

class QMainWindow;
class Ui_MainWindow;

// Gives the window what its form cannot: keys in the views, a key that cancels
// the newest copy, the list of folders that fit what is typed,
// long texts shown whole. Called once, when the form and its
// models are there; what it makes belongs to the window.
void makeReachable(QMainWindow *window, const Ui_MainWindow &ui);
