// The question asked before the window closes while the project's changes cannot be saved in its
// folder: save a copy elsewhere, leave without saving, or stay. Main thread.
#pragma once

class QWidget;

namespace tw {

class Studio;

// Writes the project and waits; true when it is on disk (or there is no project) or when the
// user chooses to leave without saving. "Guardar una copia…" starts the copy and keeps the
// window open: once the copy is saved, closing asks nothing.
bool mayCloseProject(Studio& studio, QWidget* parent);

} // namespace tw
