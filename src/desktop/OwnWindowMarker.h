// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QWidget;

namespace vorn {

// Marks a top-level window of Vorn's as its own in pictures of the screen (capture's
// OwnWindowMarks): two marks, kept above the window's other children and redrawn as it
// changes size, standing for the window with the frame the toolkit draws around it. By
// default they sit in its top-left and bottom-right corners; a window shaped otherwise says
// where: `inset` from the ends of its top and bottom edges, 3 pixels in from them.
void markAsOwnWindow(QWidget* window, int inset = 0);

// From now on every top-level window of Vorn's is marked as it first shows (menus, dialogs and
// tool tips too); a window marked before keeps its own marks.
void markEveryOwnWindow();

}  // namespace vorn
