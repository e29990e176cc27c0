#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_REGISTERFILE_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_REGISTERFILE_H

#include <array>
#include <cstdint>
#include <string>

namespace targetsim {

enum class Profile { M, A };

// The 17 core registers of the simulated core, in g packet order, and the target description that numbers
// them. Both come from one table, so the g layout and the served description cannot disagree.
class RegisterFile {
public:
    static const std::size_t kCount = 17;
    static const std::size_t kSp = 13;
    static const std::size_t kLr = 14;
    static const std::size_t kPc = 15;
    static const std::size_t kStatus = 16;

    explicit RegisterFile(Profile newProfile = Profile::M);

    Profile getProfile() const { return profile; }
    std::uint32_t get(std::size_t index) const { return values[index]; }
    void set(std::size_t index, std::uint32_t value) { values[index] = value; }
    // By name as GDB shows it (r0..r12, sp, lr, pc, xpsr or cpsr) or r13..r15; false for another name.
    bool setByName(const std::string& name, std::uint32_t value);
    // By the register number of the target description (p and P packets).
    bool getByNumber(std::uint32_t number, std::uint32_t& value) const;
    bool setByNumber(std::uint32_t number, std::uint32_t value);

    // Eight little-endian digits per register, in table order.
    std::string encode() const;
    // Takes exactly kCount registers in the form of encode(); false and no change otherwise.
    bool decode(const std::string& hex);

    std::string targetXml() const;

private:
    bool indexOf(const std::string& name, std::size_t& index) const;
    bool indexOfNumber(std::uint32_t number, std::size_t& index) const;

    Profile profile;
    std::array<std::uint32_t, kCount> values{};
};

} // namespace targetsim

#endif
