// The options and operands of one ridgex command. Options come as
// "--name VALUE", "--name=VALUE" or a short alias ("-o VALUE"), in any order
// and between operands; "--" ends the options.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct option_form {
    const char* name;   // "--format"
    const char* alias;  // "-o", or null
    bool takes_value;
};

class arguments {
  public:
    // False with a message for an unknown option or a missing value.
    bool Parse(const std::vector<std::string>& args, const std::vector<option_form>& forms,
               std::string* error);

    bool Has(const std::string& name) const;
    // The value given last, or "" when the option was not given.
    std::string Value(const std::string& name) const;
    const std::vector<std::string>& Operands() const { return operands_; }

    // The option's value as a whole number from `low` to `high`, or
    // `*out` unchanged when the option was not given. False with a message
    // for anything else.
    bool Number(const std::string& name, uint32_t low, uint32_t high, uint32_t* out,
                std::string* error) const;

  private:
    std::vector<std::pair<std::string, std::string>> options_;
    std::vector<std::string> operands_;
};
