#ifndef TARNWICK_RTOS_RTOSDRIVERINFO_H
#define TARNWICK_RTOS_RTOSDRIVERINFO_H

#include <string>

class IRtosDriver;

// One row of the driver database.
class RtosDriverInfo {
public:
    RtosDriverInfo() = default;
    RtosDriverInfo(const RtosDriverInfo&) = default;
    RtosDriverInfo(RtosDriverInfo&&) = default;
    RtosDriverInfo& operator=(const RtosDriverInfo&) = default;
    RtosDriverInfo& operator=(RtosDriverInfo&&) = default;
    virtual ~RtosDriverInfo() = default;

    // Shown to the user.
    const std::string& getName() const { return name; }
    void setName(const std::string& newName) { name = newName; }
    // Selects the driver; compared exactly, with case.
    const std::string& getId() const { return id; }
    void setId(const std::string& newId) { id = newId; }
    // A structure that the debug information holds only if the program uses this kernel.
    const std::string& getMatchSymbol() const { return matchSymbol; }
    void setMatchSymbol(const std::string& newMatchSymbol) { matchSymbol = newMatchSymbol; }
    // Not filled from the database.
    const std::string& getDescription() const { return description; }
    void setDescription(const std::string& newDescription) { description = newDescription; }
    // Read from the database and never used.
    const std::string& getLibraryPath() const { return libraryPath; }
    void setLibraryPath(const std::string& newLibraryPath) { libraryPath = newLibraryPath; }

    // Throws std::runtime_error("Method not implemented") every time; RtosDriverFactory makes the drivers.
    IRtosDriver* create(const std::string& driverName) const;

private:
    std::string name;
    std::string id;
    std::string matchSymbol;
    std::string description;
    std::string libraryPath;
};

#endif
