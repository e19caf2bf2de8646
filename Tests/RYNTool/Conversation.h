#pragma once

#include "platform/xpc/Object.h"
#include "support/Process.h"
#include "support/ScriptedManager.h"

#include <string>
#include <utility>
#include <vector>

/// One run of the real tool with words, against a manager that answers as told.

/// What the manager answers to one request: events first, then the result, with an object or without.
struct Answer {
    int result = 0;
    xpc::Object object = {};
    std::vector<std::pair<std::string, xpc::Object>> events = {};
};

struct Conversation {
    std::string typed;            ///< the words, separated by blanks
    std::vector<Answer> answers;  ///< in the order of the requests; success without an object when they run out
    std::vector<std::string> requests;
    std::string out = {};
    std::string err = {};
    int status = 0;
};

void expectConversations(const std::vector<Conversation>& conversations);

/// The requests of the trace-property exchange.
std::string getProperty(const std::string& trace, const std::string& property);
std::string setProperty(const std::string& trace, const std::string& property, const std::string& value);

/// An answer that carries one string; and a refusal, whose dictionary renders as kRefusal.
Answer textAnswer(const std::string& key, const std::string& value);
Answer valueAnswer(const std::string& value);
Answer refusal();
inline const std::string kRefusal = R"({"KeyErrorString":"no"})";

/// A help page from its leaves (word and help text) and the lines of its children, each ended.
std::string helpPage(const std::string& name, const std::vector<std::pair<std::string, std::string>>& leaves,
                     const std::string& children = "");
extern const std::string kResetHelp;
extern const std::string kDiagnosticsHelp;
extern const std::string kTraceHelp;
extern const std::string kFilterHelp;
extern const std::string kTEMSHelp;
