#include "Corvane/support/ReadableJson.h"

namespace corvane {
namespace {

std::string render(xpc_object_t object, const std::string& indentation) {
    if (xpc_get_type(object) != XPC_TYPE_DICTIONARY || xpc_dictionary_get_count(object) == 0) {
        return xpc::to_string(object);
    }
    const std::string inner = indentation + "  ";
    std::string rendered;
    xpc_dictionary_apply(object, [&](const char* key, xpc_object_t value) {
        const auto quoted = xpc::Object::adopt(xpc_string_create(key));
        rendered += (rendered.empty() ? "{\n" : ",\n") + inner + xpc::to_string(quoted) + ": " + render(value, inner);
        return true;
    });
    return rendered + "\n" + indentation + "}";
}

}  // namespace

std::string readableJson(const xpc::Object& dictionary) {
    return render(dictionary.get(), "") + "\n";
}

}  // namespace corvane
