#include "xml/Xerces_Layer.h"

#include <gtest/gtest.h>

namespace {

/// The XML layer for the whole run, as in the agent.
class Layer : public testing::Environment {
public:
    void SetUp() override { ASSERT_TRUE(Xerces_LayerInit()); }
    void TearDown() override { Xerces_LayerCleanup(); }
};

const testing::Environment* const registered = testing::AddGlobalTestEnvironment(new Layer);

} // namespace
