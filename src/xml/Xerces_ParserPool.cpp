#include "xml/Xerces_ParserPool.h"

#include <utility>

std::unique_ptr<Xerces_Parser> Xerces_ParserPool::take() {
    {
        const std::lock_guard lock(mutex_);
        if (!idle_.empty()) {
            std::unique_ptr<Xerces_Parser> parser = std::move(idle_.back());
            idle_.pop_back();
            return parser;
        }
    }
    return std::make_unique<Xerces_Parser>();
}

void Xerces_ParserPool::giveBack(std::unique_ptr<Xerces_Parser> parser) {
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(parser));
}
