#pragma once

#include <cstdint>
#include <string_view>

/// The names in the structure of a keyed archive, as Foundation's NSKeyedArchiver writes them.
/// Public description: https://github.com/swiftlang/swift-corelibs-foundation,
/// NSKeyedArchiver.swift.
///
/// The archive is a property list whose top dictionary has the version, the archiver's name, a
/// dictionary with the number of the root object, and the array of all objects. An object refers
/// to others by their position in that array (a UID). Strings and plain numbers are in the array
/// themselves; any other object is a dictionary that also refers to its class.
namespace corvane::ArchiveNames {

/// The only version of the format; the value of `version`.
inline constexpr std::int64_t archiveVersion = 100000;

/// The top dictionary, and in `top` the key of the root.
inline constexpr std::string_view version = "$version";
inline constexpr std::string_view archiver = "$archiver";
inline constexpr std::string_view keyedArchiver = "NSKeyedArchiver";
inline constexpr std::string_view top = "$top";
inline constexpr std::string_view root = "root";
inline constexpr std::string_view objects = "$objects";

/// The object at position 0, which stands for no object; keys of objects; keys of class entries.
inline constexpr std::string_view nothing = "$null";
inline constexpr std::string_view objectClass = "$class";
inline constexpr std::string_view className = "$classname";
/// Names of the class and its superclasses.
inline constexpr std::string_view classes = "$classes";

/// The keys of dictionaries, of strings that are objects, and of errors.
inline constexpr std::string_view keys = "NS.keys";
inline constexpr std::string_view values = "NS.objects";
inline constexpr std::string_view string = "NS.string";
inline constexpr std::string_view errorCode = "NSCode";
inline constexpr std::string_view errorDomain = "NSDomain";
inline constexpr std::string_view errorUserInfo = "NSUserInfo";

/// The names of classes.
inline constexpr std::string_view dictionaryClass = "NSDictionary";
inline constexpr std::string_view mutableDictionaryClass = "NSMutableDictionary";
inline constexpr std::string_view stringClass = "NSString";
inline constexpr std::string_view mutableStringClass = "NSMutableString";
inline constexpr std::string_view nullClass = "NSNull";
inline constexpr std::string_view numberClass = "NSNumber";
inline constexpr std::string_view errorClass = "NSError";
inline constexpr std::string_view objectBaseClass = "NSObject";

}  // namespace corvane::ArchiveNames
