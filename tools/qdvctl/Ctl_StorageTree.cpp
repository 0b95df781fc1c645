#include "qdvctl/Ctl_StorageTree.h"

#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_StorageStack.h"
#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <iterator>

namespace {

/// What the agent says decides how often an object is repeated.
constexpr std::size_t mostLines = 100000;
constexpr unsigned treeStep = 2;

using Rows = std::vector<std::vector<std::string>>;

void addBranch(const Ctl_StorageStack& stack, const Ctl_StorageStack::Key& key, unsigned depth, Rows& rows) {
    if (rows.size() > mostLines)
        return;
    const Ctl_StorageStack::Object& object = stack.objects().at(key);
    rows.push_back({std::string(depth * treeStep, ' ') + Ctl_Printable(key.second),
                    Ctl_StorageStack::word(key.first), object.size("totalBytes"), object.composition(),
                    Ctl_Printable(object.attribute("devicePath"))});
    for (const Ctl_StorageStack::Key& child : object.children)
        addBranch(stack, child, depth + 1, rows);
}

} // namespace

std::string Ctl_StorageTree(const std::vector<Ctl_Node>& results,
                            std::optional<System_Object::StorageType> top) {
    std::vector<Ctl_Node> failures;
    std::copy_if(results.begin(), results.end(), std::back_inserter(failures),
                 [](const Ctl_Node& each) { return each.name == "AuditFailedItems"; });
    const Ctl_StorageStack stack(results);
    Rows rows = {{"object", "level", "size", "composition", "mounted from"}};
    for (const auto& [key, object] : stack.objects())
        if (!stack.isPlaceholder(key) &&
            (top ? Ctl_StorageStack::type(key.first) == *top : !stack.isBelow(key)))
            addBranch(stack, key, 0, rows);
    return Ctl_RenderRows(rows) + Ctl_RenderText(failures);
}
