#ifndef TARNWICK_RTOS_RTOSDRIVERFACTORY_H
#define TARNWICK_RTOS_RTOSDRIVERFACTORY_H

#include "rtos/RtosDriverInfo.h"

#include <string>
#include <vector>

class IRtosDriver;

// Knows the kernels listed in the driver database and creates the driver compiled in for a row.
// The caller owns every driver it returns.
class RtosDriverFactory {
public:
    virtual ~RtosDriverFactory() = default;

    // Reads "drivers/drivers.csv" beside the executable; false if it is missing or corrupt.
    bool init();
    // Appends the rows of the database file at path, stopping at the first corrupt line (rows before it
    // stay); false if it cannot be opened or a line is corrupt. Log lines name the database by its
    // relative name, whatever the path.
    bool readDatabase(const std::string& path);
    // The driver of the first row whose id is driverId; null if none or if that row gives none.
    IRtosDriver* create(const std::string& driverId);
    // The driver compiled in for the row's id; null for an id with no driver.
    IRtosDriver* create(const RtosDriverInfo& row);
    // Detection over the debug-info cache: the driver of the first row whose match structure the cache
    // holds (even if that row gives none); null if no row matches.
    IRtosDriver* create();

    // The rows read so far, in file order.
    const std::vector<RtosDriverInfo>& getDrivers() const { return drivers; }

private:
    std::vector<RtosDriverInfo> drivers;
};

#endif
