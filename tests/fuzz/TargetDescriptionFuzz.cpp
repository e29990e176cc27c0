// TargetDescription::load on random text, then the values of a random frame put into its order and
// written as a g reply, as intercept_g does for a switched-out thread.
#include "FuzzCheck.h"
#include "rsp/RspUtil.h"
#include "target/RegisterList.h"
#include "target/TargetDescription.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <string>

namespace {

// The highest RegisterId.
constexpr unsigned int kLastRegister = 54;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    unsigned int payloadBytes = input.ConsumeIntegralInRange<unsigned int>(0, 4096);
    std::size_t count = input.ConsumeIntegralInRange<std::size_t>(0, 64);
    RegisterList values;
    for (std::size_t i = 0; i < count; ++i) {
        auto id = static_cast<RegisterId>(input.ConsumeIntegralInRange<unsigned int>(0, kLastRegister));
        values.addRegister(id, input.ConsumeIntegral<unsigned int>());
    }
    std::string xml = input.ConsumeRemainingBytesAsString();

    TargetDescription description;
    fuzzRequire(description.load(xml), "load always succeeds");
    std::size_t registers = description.getRegisters().size();
    fuzzRequire(description.load(xml) && description.getRegisters().size() == registers,
                "load twice, same set");
    for (std::size_t i = 1; i < registers; ++i) {
        fuzzRequire(description.getRegisters()[i - 1].number <= description.getRegisters()[i].number,
                    "sorted by register number");
    }
    fuzzRequire(description.encodeAll(values, payloadBytes).size() == payloadBytes * 2u,
                "the reply is as long as the target's");
    return 0;
}
