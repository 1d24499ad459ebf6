/** The HID services of the QOR: how the plug-in tells them from others, and from one another. */
#ifndef QOR_SERVICES_H
#define QOR_SERVICES_H

#include <cstdint>
#include <utility>

namespace qor::services {

/** The service property that names the transport, and its text for the services of the QOR. */
inline constexpr const char *kTransportKey = "Transport";
inline constexpr const char *kTransport = "QOR";

/** The service property that is the boolean true if the service's device delivers analytics. */
inline constexpr const char *kSupportsTallybook = "ZELSupportsTallybook";

/** A usage page and a usage. */
using Usage = std::pair<std::uint32_t, std::uint32_t>;

inline constexpr Usage kConsumerControl{0x000C, 0x0001};
inline constexpr Usage kTelephony{0x000B, 0x0001};
inline constexpr Usage kVendor{0xFF00, 0x0029};

inline constexpr Usage kAccelerometer{0xFF00, 0x0003};
inline constexpr Usage kGyroscope{0xFF00, 0x0009};
inline constexpr Usage kCompass{0xFF00, 0x000A};
inline constexpr Usage kPressure{0x0020, 0x0031};

/** In the order in which they are asked. */
inline constexpr Usage kSensors[] = {kAccelerometer, kGyroscope, kCompass, kPressure};

} // namespace qor::services

#endif
