#pragma once

namespace Zendra::Protocol
{

// The names in org.zendra.Hook1.xml and org.zendra.Recording1.xml.

constexpr char hookPath[] = "/org/zendra/Hook1";
constexpr char hookInterface[] = "org.zendra.Hook1";
/// Followed by a number.
constexpr char recordingPathPrefix[] = "/org/zendra/Recording1/";
constexpr char recordingInterface[] = "org.zendra.Recording1";

constexpr char introspectableInterface[] = "org.freedesktop.DBus.Introspectable";
constexpr char propertiesInterface[] = "org.freedesktop.DBus.Properties";

constexpr char operationFailed[] = "org.zendra.Error.OperationFailed";
constexpr char invalidArguments[] = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr char unknownMethod[] = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr char unknownObject[] = "org.freedesktop.DBus.Error.UnknownObject";
constexpr char unknownProperty[] = "org.freedesktop.DBus.Error.UnknownProperty";
constexpr char propertyReadOnly[] = "org.freedesktop.DBus.Error.PropertyReadOnly";

} // namespace Zendra::Protocol
