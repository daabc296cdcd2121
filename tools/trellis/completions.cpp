#include "completions.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace tool {

namespace {

// What completions need to know of an option: "--json", what it is for, and whether a word follows.
struct OptionText {
    std::string name;
    std::string description;
    bool takes_word;
    std::vector<std::string> words;  // the only ones that may follow, if that is so
};

// "{on,off}", as the check of an option's word describes it.
std::vector<std::string> words_of(const std::string& type) {
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}');
    if (begin == std::string::npos || end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

std::vector<OptionText> options_of(const CLI::App& command) {
    std::vector<OptionText> texts;
    for (const CLI::Option* option : command.get_options()) {
        if (option->nonpositional()) {
            texts.push_back({option->get_name(), option->get_description(),
                             option->get_items_expected() > 0, words_of(option->get_type_name())});
        }
    }
    return texts;
}

std::vector<const CLI::App*> commands_of(const CLI::App& app) {
    // A null filter gives all, in the order of their definition.
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string joined(const std::vector<std::string>& words) {
    return CLI::detail::join(words, " ");
}

// A text between single quotes of a shell.
std::string quoted(std::string text) {
    for (std::size_t i = 0; (i = text.find('\'', i)) != std::string::npos; i += 4) {
        text.replace(i, 1, "'\\''");
    }
    return "'" + text + "'";
}

std::string for_bash(const CLI::App& app) {
    std::vector<std::string> names;
    std::string cases;
    for (const CLI::App* command : commands_of(app)) {
        names.push_back(command->get_name());
        std::vector<std::string> options;
        std::string values;
        for (const OptionText& option : options_of(*command)) {
            options.push_back(option.name);
            if (!option.words.empty()) {
                values += "                " + option.name +
                          ") words=" + quoted(joined(option.words)) + " ;;\n";
            }
        }
        cases += "        " + command->get_name() +
                 ")\n            words=" + quoted(joined(options)) +
                 "\n            case $before in\n" + values + "            esac\n            ;;\n";
    }
    return "# bash completion for trellis\n"
           "_trellis() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} "
           "words=\n"
           "    if ((COMP_CWORD == 1)); then\n"
           "        mapfile -t COMPREPLY < <(compgen -W " +
           quoted(joined(names) + " --help --version") +
           " -- \"$current\")\n"
           "        return\n"
           "    fi\n"
           "    case ${COMP_WORDS[1]} in\n" +
           cases +
           "    esac\n"
           "    if [[ $current == -* || $words != -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -F _trellis trellis\n";
}

// A description inside the brackets of zsh's _arguments.
std::string for_brackets(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string for_zsh(const CLI::App& app) {
    std::string names;
    std::string cases;
    for (const CLI::App* command : commands_of(app)) {
        names += "        " + quoted(command->get_name() + ":" + command->get_description()) + "\n";
        cases += "    " + command->get_name() + ")\n        _arguments \\\n";
        for (const OptionText& option : options_of(*command)) {
            std::string text = option.name + "[" + for_brackets(option.description) + "]";
            if (option.takes_word) {
                text +=
                    option.words.empty() ? ":word:_files" : ":word:(" + joined(option.words) + ")";
            }
            cases += "            " + quoted(text) + " \\\n";
        }
        cases += "            '*:file:_files'\n        ;;\n";
    }
    return "#compdef trellis\n"
           "if ((CURRENT == 2)); then\n"
           "    local -a commands=(\n" +
           names +
           "    )\n"
           "    _describe command commands\n"
           "    return\n"
           "fi\n"
           "shift words\n"
           "((CURRENT--))\n"
           "case ${words[1]} in\n" +
           cases + "esac\n";
}

std::string for_fish(const CLI::App& app) {
    std::string lines = "# fish completion for trellis\n";
    for (const CLI::App* command : commands_of(app)) {
        const std::string name = command->get_name();
        lines += "complete -c trellis -n __fish_use_subcommand -f -a " + name + " -d " +
                 quoted(command->get_description()) + "\n";
        for (const OptionText& option : options_of(*command)) {
            const std::string plain = option.name.substr(option.name.find_first_not_of('-'));
            lines += "complete -c trellis -n '__fish_seen_subcommand_from " + name + "' " +
                     (plain.size() == 1 ? "-s " : "-l ") + plain +
                     (option.takes_word ? " -r" : "") +
                     (option.words.empty() ? "" : " -f -a " + quoted(joined(option.words))) +
                     " -d " + quoted(option.description) + "\n";
        }
    }
    return lines;
}

struct Shell {
    const char* name;
    std::string (*write)(const CLI::App& app);
};

constexpr Shell shells[] = {{"bash", for_bash}, {"zsh", for_zsh}, {"fish", for_fish}};

}  // namespace

std::vector<std::string> completion_shells() {
    std::vector<std::string> names;
    for (const Shell& shell : shells) {
        names.emplace_back(shell.name);
    }
    return names;
}

std::string completions(const CLI::App& app, const std::string& shell) {
    const auto* found =
        std::ranges::find_if(shells, [&](const Shell& known) { return shell == known.name; });
    return found->write(app);
}

}  // namespace tool
