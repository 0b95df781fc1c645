#pragma once

#include "qdvctl/Ctl_Node.h"

#include <string>
#include <vector>

/// A host summary as lines of a label and a value; what the agent could not find out is left out.
std::string Ctl_DescribeHost(const std::vector<Ctl_Node>& results);
