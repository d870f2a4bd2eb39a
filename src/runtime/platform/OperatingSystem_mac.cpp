#include <objc/message.h>
#include <objc/runtime.h>

#include "OperatingSystem.h"

namespace vela {

namespace {

struct OperatingSystemVersion {
    long majorVersion;
    long minorVersion;
    long patchVersion;
};

bool respondsTo(id object, const char* selector) {
    using Send = BOOL (*)(id, SEL, SEL);
    return reinterpret_cast<Send>(objc_msgSend)(object, sel_registerName("respondsToSelector:"),
                                                sel_registerName(selector));
}

}  // namespace

// NSProcessInfo through the Objective-C runtime, so that this file stays plain C++.
OperatingSystemCheck checkOperatingSystem() {
    OperatingSystemCheck check;
    Class processInfoClass = objc_getClass("NSProcessInfo");
    id processInfo = nullptr;
    if (processInfoClass != nullptr) {
        using SendId = id (*)(id, SEL);
        processInfo = reinterpret_cast<SendId>(objc_msgSend)(reinterpret_cast<id>(processInfoClass),
                                                             sel_registerName("processInfo"));
    }
    if (processInfo != nullptr && respondsTo(processInfo, "isOperatingSystemAtLeastVersion:")) {
        using SendVersion = BOOL (*)(id, SEL, OperatingSystemVersion);
        const bool atLeast = reinterpret_cast<SendVersion>(objc_msgSend)(
            processInfo, sel_registerName("isOperatingSystemAtLeastVersion:"),
            OperatingSystemVersion{10, 12, 0});
        check.isSupported = atLeast;
        check.description = atLeast ? "seems the version equals 10.12 and later"
                                    : "seems the version is below 10.12";
    } else {
        check.isSupported = false;
        check.description =
            "assumes the version is below 10.12 because of no support "
            "isOperatingSystemAtLeastVersion";
    }
    check.versionString = "unknown";
    if (processInfo != nullptr && respondsTo(processInfo, "operatingSystemVersionString")) {
        using SendId = id (*)(id, SEL);
        using SendText = const char* (*)(id, SEL);
        id text = reinterpret_cast<SendId>(objc_msgSend)(
            processInfo, sel_registerName("operatingSystemVersionString"));
        if (text != nullptr) {
            const char* utf8 =
                reinterpret_cast<SendText>(objc_msgSend)(text, sel_registerName("UTF8String"));
            check.versionString = utf8 ? utf8 : "unknown";
        }
    }
    return check;
}

}  // namespace vela
