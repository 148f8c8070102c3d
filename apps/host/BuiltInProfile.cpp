#include "host/Session.h"
#include "trovix/Json.h"

namespace trovix::host {

Dictionary builtInDeviceProfile() {
  static constexpr const char* profile = R"json({
    "device": {"model": "iPhone", "name": "Demo iPhone", "systemName": "iOS", "systemVersion": "17.2",
               "localizedModel": "iPhone", "identifierForVendor": "7D9E1B2C-4F5A-4C6B-8D7E-9F0A1B2C3D4E"},
    "operatingSystemVersionString": "Version 17.2 (Build 21C62)",
    "system": {"hw.machine": "iPhone15,2", "hw.memsize": 6442450944, "hw.ncpu": 6, "hw.cputype": 16777228,
               "hw.cpusubtype": 2, "hw.cpu64bit_capable": 1, "6.15": 3460000000},
    "screen": {"width": 1179, "height": 2556},
    "locale": {"languages": ["en-US"], "language": "en", "country": "US"},
    "timeZone": "Europe/Berlin",
    "bundle": {"identifier": "com.example.shop", "executablePath": "/Applications/Shop.app/Shop",
               "info": {"CFBundleVersion": "42", "CFBundleShortVersionString": "3.1.4",
                        "CFBundleDisplayName": "Shop"},
               "receipt": "RGVtbyByZWNlaXB0"},
    "network": {"interfaces": [{"name": "en0", "ipv4": true, "loopback": false}], "scopedProxies": ["en0"]},
    "disk": {"free": 68719476736, "total": 127999999999},
    "frameworks": {"attStatus": 3, "advertisingIdentifier": "6E0F2A51-9C3D-4B7E-A1D2-3F4E5D6C7B8A",
                   "advertisingTrackingEnabled": true, "attributionToken": "demo-attribution-token",
                   "adNetwork": true},
    "integrity": {"compromised": false, "debugger": false}
  })json";
  return dictionaryFromJson(profile).value_or(Dictionary());
}

}  // namespace trovix::host
