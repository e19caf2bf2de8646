#include "Corvane/baseband/simulated/StoredRecord.h"

#include "Corvane/support/Json.h"

namespace corvane::simulated {

xpc::Object StoredRecord::values() const {
    const xpc::Object stored = parseJson(store_.get(kArea, name_).value_or(""), 1);
    return stored.isDictionary() ? stored : dictionary({});
}

xpc::Object StoredRecord::changed(const xpc::Object& changes) const {
    xpc::Object all = values();
    xpc_dictionary_apply(changes.get(), [&all](const char* key, xpc_object_t value) {
        xpc_dictionary_set_value(all.get(), key, value);
        return true;
    });
    return all;
}

}  // namespace corvane::simulated
