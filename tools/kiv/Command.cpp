#include "Command.h"

#include <CLI/CLI.hpp>

namespace kiv::tool {

void addOldSpelling(CLI::App& command, CLI::Option* option, const std::string& oldName) {
    // The help leaves out a group without a name.
    command.add_option_group("")
        ->add_option_function<std::string>(oldName,
                                           [option](const std::string& value) {
                                               option->add_result(value);
                                               option->run_callback();
                                           })
        ->type_name(option->get_type_name());
}

} // namespace kiv::tool
