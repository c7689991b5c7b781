// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/command_line.h>

int main(int argument_count, char** arguments) {
    return gas_app::run_command_line(argument_count, arguments);
}
