#include "rtos/AbstractRtosDriver.h"

#include "rtos/RtosInfo.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

// The smallest driver the base allows: everything abstract is answered with a fixed result.
class IdleDriver : public AbstractRtosDriver {
public:
    explicit IdleDriver(const RtosDriverInfo& row) : AbstractRtosDriver(row) {}
    bool init() override { return true; }
    bool init(RspClient& /*server*/) override { return true; }
    void getSymbols(std::vector<std::string>& symbols) override { symbols.push_back("idleSymbol"); }
    void getDataStructures(std::vector<std::string>& structures) override { structures.push_back("idle_t"); }
    RtosInfo* getInfo() override { return &catalogue; }
    bool checkKernelRunning(RspClient& /*server*/, bool& running) override {
        running = false;
        return true;
    }
    bool getThreads(RspClient& /*server*/, ThreadList& /*threads*/) override { return false; }
    bool getRegisters(RspClient& /*server*/, TargetThread& /*thread*/, RegisterList& /*registers*/) override {
        return false;
    }
    void dispose() override {}

private:
    RtosInfo catalogue{"idle", {}};
};

} // namespace

TEST(AbstractRtosDriverTest, KeepsACopyOfItsRow) {
    RtosDriverInfo row;
    row.setName("Idle");
    row.setId("idle");
    std::unique_ptr<IRtosDriver> driver = std::make_unique<IdleDriver>(row);
    row.setName("changed");

    EXPECT_EQ("Idle", driver->getDriverInfo().getName());
    EXPECT_EQ("idle", driver->getDriverInfo().getId());
    driver->getDriverInfo().setDescription("set through the reference");
    EXPECT_EQ("set through the reference", driver->getDriverInfo().getDescription());
}
