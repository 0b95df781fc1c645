#pragma once

#include "xml/Xerces_Parser.h"

#include <memory>
#include <mutex>
#include <vector>

/// Idle parsers for the next document: making one costs three times as much as a short document does. A pool
/// holds no more than have been in use at once. Thread-safe.
class Xerces_ParserPool {
public:
    /// An idle parser, or else a new one.
    std::unique_ptr<Xerces_Parser> take();
    /// Takes a parser back that has just made a document.
    void giveBack(std::unique_ptr<Xerces_Parser> parser);

private:
    std::mutex mutex_;
    std::vector<std::unique_ptr<Xerces_Parser>> idle_;
};

/// The layer's pool. It exists from Xerces_LayerInit to Xerces_LayerCleanup; outside of that this throws
/// std::logic_error.
Xerces_ParserPool& Xerces_Parsers();
