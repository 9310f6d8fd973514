#include "arguments.h"

#include <cstdlib>

namespace {

const option_form* Find(const std::vector<option_form>& forms, const std::string& word) {
    for (const option_form& form : forms) {
        if (word == form.name || (form.alias != nullptr && word == form.alias)) {
            return &form;
        }
    }
    return nullptr;
}

}  // namespace

bool arguments::Parse(const std::vector<std::string>& args, const std::vector<option_form>& forms,
                      std::string* error) {
    bool options_end = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& word = args[i];
        if (options_end || word.size() < 2 || word[0] != '-') {
            operands_.push_back(word);
            continue;
        }
        if (word == "--") {
            options_end = true;
            continue;
        }
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const option_form* form = Find(forms, name);
        if (form == nullptr) {
            *error = "unknown option " + name;
            return false;
        }
        std::string value;
        if (form->takes_value) {
            if (equals != std::string::npos) {
                value = word.substr(equals + 1);
            } else if (i + 1 < args.size()) {
                value = args[++i];
            } else {
                *error = std::string(form->name) + " needs a value";
                return false;
            }
        } else if (equals != std::string::npos) {
            *error = std::string(form->name) + " takes no value";
            return false;
        }
        options_.emplace_back(form->name, value);
    }
    return true;
}

bool arguments::Has(const std::string& name) const {
    for (const auto& option : options_) {
        if (option.first == name) {
            return true;
        }
    }
    return false;
}

std::string arguments::Value(const std::string& name) const {
    std::string value;
    for (const auto& option : options_) {
        if (option.first == name) {
            value = option.second;
        }
    }
    return value;
}

bool arguments::Number(const std::string& name, uint32_t low, uint32_t high, uint32_t* out,
                       std::string* error) const {
    if (!Has(name)) {
        return true;
    }
    const std::string text = Value(name);
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || *end != '\0' || number < low || number > high) {
        *error = name + " wants a whole number from " + std::to_string(low) + " to " +
                 std::to_string(high) + ", not '" + text + "'";
        return false;
    }
    *out = static_cast<uint32_t>(number);
    return true;
}
