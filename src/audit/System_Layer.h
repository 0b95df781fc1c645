#pragma once

/// The platform has nothing to set up or take down for the audits; the layer keeps its place in the order of
/// start and stop. The first always returns true.
bool System_LayerInit();
void System_LayerCleanup();
