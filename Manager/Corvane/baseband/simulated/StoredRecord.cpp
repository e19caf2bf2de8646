#include "Corvane/baseband/simulated/StoredRecord.h"

#include "Corvane/support/Json.h"

namespace corvane::simulated {

xpc::Object StoredRecord::values() const {
    const xpc::Object stored = parseJson(store_.get(kBasebandArea, name_).value_or(""), 1);
    return stored.isDictionary() ? stored : dictionary({});
}

xpc::Object StoredRecord::changed(const xpc::Object& changes) const {
    xpc::Object all = values();
    setAll(all, changes);
    return all;
}

}  // namespace corvane::simulated
