#pragma once

/// Brings the XML library up for the process; before any other object of this folder exists and before any
/// thread runs, since it also fixes for the whole process that a document with a DOCTYPE is refused.
/// False if the library cannot be initialised.
bool Xerces_LayerInit();

/// Releases what the layer keeps for reuse, then the library itself. No document may be alive.
void Xerces_LayerCleanup();
