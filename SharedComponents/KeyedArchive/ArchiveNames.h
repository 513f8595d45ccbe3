#pragma once

#include <cstdint>
#include <string_view>

/// The names that a keyed archive is held together by, as Foundation's NSKeyedArchiver writes them.
/// Public description: https://github.com/swiftlang/swift-corelibs-foundation,
/// NSKeyedArchiver.swift.
namespace corvane::ArchiveNames {

inline constexpr std::int64_t archiveVersion = 100000;

inline constexpr std::string_view version = "$version";
inline constexpr std::string_view archiver = "$archiver";
inline constexpr std::string_view keyedArchiver = "NSKeyedArchiver";
inline constexpr std::string_view top = "$top";
inline constexpr std::string_view root = "root";
inline constexpr std::string_view objects = "$objects";

inline constexpr std::string_view nothing = "$null";  ///< an entry that is no object
inline constexpr std::string_view objectClass = "$class";
inline constexpr std::string_view className = "$classname";
inline constexpr std::string_view classes = "$classes";  ///< the class and those above it

inline constexpr std::string_view keys = "NS.keys";
inline constexpr std::string_view values = "NS.objects";
inline constexpr std::string_view string = "NS.string";
inline constexpr std::string_view errorCode = "NSCode";
inline constexpr std::string_view errorDomain = "NSDomain";
inline constexpr std::string_view errorUserInfo = "NSUserInfo";

inline constexpr std::string_view dictionaryClass = "NSDictionary";
inline constexpr std::string_view mutableDictionaryClass = "NSMutableDictionary";
inline constexpr std::string_view stringClass = "NSString";
inline constexpr std::string_view mutableStringClass = "NSMutableString";
inline constexpr std::string_view nullClass = "NSNull";
inline constexpr std::string_view numberClass = "NSNumber";
inline constexpr std::string_view errorClass = "NSError";
inline constexpr std::string_view objectBaseClass = "NSObject";

}  // namespace corvane::ArchiveNames
