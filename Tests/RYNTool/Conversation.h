#pragma once

#include "platform/xpc/Object.h"
#include "support/Process.h"
#include "support/ScriptedManager.h"

#include <string>
#include <utility>
#include <vector>

/// What the manager answers to one request: events first, then the result, with an object or without.
struct Answer {
    int result = 0;
    xpc::Object object = {};
    std::vector<std::pair<std::string, xpc::Object>> events = {};
};

/// One run of the real tool with words, against a manager that answers as told: make one with `when`.
struct Conversation {
    std::string typed;
    std::vector<Answer> answers;
    std::vector<std::string> requests;
    std::string out;
    std::string err;
    int status;
};

/// @param typed the words, each separated by one blank: two blanks hold an empty word
/// @param answers in the order of the requests; success without an object when they run out
Conversation when(const std::string& typed, const std::vector<Answer>& answers, const std::vector<std::string>& requests,
                  const std::string& out = "", const std::string& err = "", int status = 0);
void expectConversations(const std::vector<Conversation>& conversations);

/// The help page of a group, as the tool prints it.
std::string help(const std::string& group);

/// The requests of the trace-property exchange.
std::string getProperty(const std::string& trace, const std::string& property);
std::string setProperty(const std::string& trace, const std::string& property, const std::string& value);

/// A success that carries one value.
Answer carrying(const std::string& key, const xpc::Object& value);
Answer valueAnswer(const std::string& value);
/// A failure whose dictionary renders as kRefusal.
Answer refusal();
inline const std::string kRefusal = R"({"KeyErrorString":"no"})";
