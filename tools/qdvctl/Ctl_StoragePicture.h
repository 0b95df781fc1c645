#pragma once

#include "qdvctl/Ctl_Node.h"

#include <string>
#include <vector>

/// The storage stack as a picture, from drives at the bottom to volumes at the top: what hangs together
/// stands in one frame. Pure; the results may hold any bytes, and none of them becomes markup.

/// A picture in SVG that brings its own colours, for light and for dark.
std::string Ctl_StorageSvg(const std::vector<Ctl_Node>& results);
/// A page with that picture, and the same in tables, and what could not be audited. It needs neither network
/// nor scripts.
std::string Ctl_StorageHtml(const std::vector<Ctl_Node>& results);
