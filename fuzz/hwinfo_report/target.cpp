// Reports of hwinfo, in which drives are looked up. The input's first line is the device's name,
// the second the SCSI address of a bus device, the rest the report.
#include "fuzz/target.h"

#include "discovery/classification.h"

void fuzz::read_input(std::string_view input) {
  const std::string device(take_line(input).substr(0, 64));
  const std::string bus_id = discovery::bus_id(std::string(take_line(input))).value_or("");
  const std::string report(input);
  // The texts up to their first NUL, as C functions see them.
  const std::string text(report.c_str());
  const std::string name(device.c_str());

  require(discovery::lists_device(report, device) == (text.find(name) != std::string::npos),
          "a device is listed where its name stands");

  using discovery::Controller;
  const Controller controller = discovery::controller_of(report, bus_id, device);
  require((controller == Controller::BusIdNotListed) == (text.find(bus_id) == std::string::npos),
          "a bus ID is listed where it stands");
  if (controller == Controller::Onboard || controller == Controller::Raid)
    require(text.find(device) != std::string::npos, "a drive with a controller is listed");
  if (controller == Controller::Onboard)
    require(text.find("Driver: \"ata_piix\"") != std::string::npos ||
                text.find("Driver: \"ahci\"") != std::string::npos,
            "an onboard drive has such a driver");

  using discovery::DriverLookup;
  const discovery::Driver driver = discovery::driver_of(report, device);
  if (driver.lookup == DriverLookup::Found) {
    const std::size_t begin = text.find(driver.information + device);
    require(begin != std::string::npos, "information ends at the device");
    // A device's name may begin with the key, or within it.
    require(text.find("Driver:", begin) <= begin + driver.information.size(),
            "information begins with its key");
    require(driver.information.find("Driver:", 1) == std::string::npos,
            "it is the last driver before the device");
  } else {
    require(driver.information.empty(), "information comes with a driver");
  }
}
