#pragma once

#include "CRegistryValue.h"

#include <memory>
#include <string>

class CRegistryNode;

// One named slot of a registry node: either a value or, with type RegistryTypeSubkey, a child
// node that the entry owns.
struct CRegistryEntry
{
    std::string name;
    CRegistryValue value;
    std::unique_ptr<CRegistryNode> child;

    bool IsSubkey() const { return value.type == RegistryTypeSubkey; }
};
