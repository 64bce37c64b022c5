# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The checks that only read."""

from planted_tree import PlantedTree

LICENCE = "SPDX-FileCopyrightText: 2026 Arvenhold\n{0} SPDX-License-Identifier: Apache-2.0\n"
SLASHES = "// " + LICENCE.format("//")


class Licence(PlantedTree):
    def test_accepts_every_comment_style_and_a_line_that_names_an_interpreter(self):
        self.plant("a.cpp", SLASHES)
        self.plant("b.py", "#!/usr/bin/env python3\n# " + LICENCE.format("#"))
        self.plant("c.md", "<!--\n" + LICENCE.format("").replace("\n ", "\n") + "-->\n")
        self.plant("d.json", "{}\n")
        self.assert_clean("licence")

    def test_accepts_a_document_type_before_the_licence(self):
        self.plant("a.html", "<!doctype html>\n<!-- SPDX-FileCopyrightText: 2026 Arvenhold -->\n"
                   "<!-- SPDX-License-" "Identifier: Apache-2.0 -->\n")
        self.assert_clean("licence")

    def test_finds_a_file_without_licence(self):
        self.plant("a.cpp", "int answer();\n")
        self.assert_found("licence", "a.cpp:1: does not begin with the two lines of the licence")

    def test_finds_a_licence_that_comes_too_late(self):
        self.plant("a.cpp", "int answer();\n" + SLASHES)
        self.assert_found("licence", "a.cpp:1: does not begin with the two lines of the licence")


class Words(PlantedTree):
    # Each unwanted text stands in two pieces, as the check reads this file too.
    def assert_unwanted(self, text, reason):
        self.plant("a.md", f"\n{text}\n")
        self.assert_found("words", f"a.md:2: {reason}: {text}")

    def test_accepts_ordinary_sentences(self):
        self.plant("a.cpp", "// Part of a specified whole; the first of #includes.\n")
        self.assert_clean("words")

    def test_finds_unfinished_work(self):
        self.assert_unwanted("TO" "DO: ask", "unfinished work belongs in an issue")

    def test_finds_the_number_of_an_issue(self):
        self.assert_unwanted("As issue " "12 says", "numbers of issues mean nothing in a file")

    def test_finds_a_reference_to_a_document_that_is_not_here(self):
        self.assert_unwanted(
            "As the sp" "ecification says", "refers to a document that is not in the tree")

    def test_finds_a_package_registry(self):
        self.assert_unwanted(
            "http://deb" ".example.org/",
            "names a package registry; the machine's own configuration does that")


class English(PlantedTree):
    # Each phrase stands in two pieces, as the check reads this file too.
    def assert_phrase(self, text, phrase, instead):
        self.plant("a.md", f"\n{text}\n")
        self.assert_found("english", f"a.md:2: {phrase}: use {instead}")

    def test_accepts_the_words_of_the_field(self):
        self.plant("a.cpp", "// Reports whether it is in flight. Prints a blank line. We amend.\n")
        self.assert_clean("english")

    def test_finds_a_phrase_in_a_document(self):
        self.assert_phrase("The server stands" " still.", "stands" " still", "hangs, is frozen")

    def test_finds_a_phrase_whatever_its_case(self):
        self.assert_phrase("In" " vain.", "in" " vain",
                           "without success; say after which time limit")

    def test_finds_a_phrase_in_a_comment_and_in_a_help_text(self):
        self.plant("a.cpp", "int a = 1; // be" " it zero\n")
        self.plant("b.py", 'help="the way, be' ' it long"\n')
        self.assert_found("english", "a.cpp:1: be" " it: use even if",
                          "b.py:1: be" " it: use even if")

    def test_finds_a_phrase_that_is_wrapped_where_it_begins(self):
        self.plant("a.hpp", "/// A message is on\n/// the" " way.\n")
        self.plant("b.sh", "#\n# Passes\n# by" " itself.\n")
        self.assert_found("english", "a.hpp:1: on the" " way: use in flight",
                          "b.sh:2: passes by" " itself: use resolves by itself")

    def test_does_not_join_paragraphs(self):
        self.plant("a.md", "This may be\n\nIt passes.\n")
        self.assert_clean("english")

    def test_leaves_required_outputs_alone(self):
        self.plant("tests/golden/a.txt", "in" " vain\n")
        self.plant("LICENSE", "in" " vain\n")
        self.assert_clean("english")


class Includes(PlantedTree):
    def test_accepts_the_own_header_first(self):
        self.plant("include/hub/one.hpp", "")
        self.plant("src/model/one.cpp", '#include <hub/one.hpp>\n\n#include "model/two.hpp"\n')
        self.plant("src/model/two.hpp", "")
        self.plant("src/model/two.cpp", '#include "model/two.hpp"\n')
        self.plant("src/model/three.cpp", "#include <vector>\n")
        self.assert_clean("includes")

    def test_finds_a_public_header_that_comes_later(self):
        self.plant("include/hub/one.hpp", "")
        self.plant("src/model/one.cpp", "#include <vector>\n#include <hub/one.hpp>\n")
        self.assert_found("includes", "src/model/one.cpp:1: the first include is not <hub/one.hpp>")

    def test_finds_a_file_of_a_role_that_does_not_begin_with_the_class_behind_it(self):
        self.plant("src/role/role_impl.hpp", "")
        self.plant("src/role/part.cpp", '#include <mutex>\n#include "role/role_impl.hpp"\n')
        self.assert_found(
            "includes", 'src/role/part.cpp:1: the first include is not "role/role_impl.hpp"')

    def test_finds_another_user_of_a_private_header(self):
        self.plant("src/provider/a.hpp", '\n#include "protocol/item_tables.hpp"\n')
        self.plant("src/protocol/variables_codec.cpp", '#include "protocol/item_tables.hpp"\n')
        self.assert_found(
            "includes", "src/provider/a.hpp:2: only src/protocol/variables_codec.cpp may include "
            '"protocol/item_tables.hpp"')


class Commits(PlantedTree):
    def commit(self, subject):
        self.command("git", "-c", "user.name=a", "-c", "user.email=a@b", "commit", "--quiet",
                     "--allow-empty", "--message", subject)

    def test_accepts_a_layer_and_a_short_sentence(self):
        self.commit("protocol: keep unknown tags from changing a value")
        self.assert_clean("commits")

    def test_finds_a_long_subject(self):
        self.commit("protocol: " + "x" * 51)
        self.assertIn("subject has 61 characters; 60 are the limit", self.run_check("commits")[1])

    def test_finds_a_missing_layer(self):
        self.commit("Fix it")
        self.assertIn("subject does not begin with a layer", self.run_check("commits")[1])

    def test_leaves_commits_alone_that_can_no_longer_be_changed(self):
        self.commit("Fix it")
        self.commit("protocol: keep unknown tags")
        self.assert_clean("commits")

    def test_looks_at_everything_that_is_about_to_be_pushed(self):
        self.commit("protocol: keep unknown tags")
        self.command("git", "checkout", "--quiet", "--track", "-b", "mine")
        self.commit("Fix it")
        self.commit("protocol: keep known tags")
        self.assertIn("subject does not begin with a layer", self.run_check("commits")[1])


class Versions(PlantedTree):
    def setUp(self):
        super().setUp()
        self.plant("CMakeLists.txt", "project(some VERSION 1.2.3 LANGUAGES CXX)\n")
        self.plant("CHANGELOG.md", "## [1.2.3] 2030-01-01\n")
        self.plant("debian/changelog", "corvel-hub-client (1.2.3) unstable; urgency=medium\n")
        self.plant_header(3)

    def plant_header(self, patch):
        self.plant("include/hub/version.hpp",
                   "#define SOME_VERSION_MAJOR 1\n#define SOME_VERSION_MINOR 2\n"
                   f"#define SOME_VERSION_PATCH {patch}\n")

    def test_accepts_one_version_everywhere(self):
        self.assert_clean("versions")

    def test_finds_another_version_in_the_header(self):
        self.plant_header(4)
        self.assert_found(
            "versions", "include/hub/version.hpp: says 1.2.4, CMakeLists.txt says 1.2.3")

    def test_finds_a_changelog_that_lags_behind(self):
        self.plant("CHANGELOG.md", "## [1.2.2] 2029-01-01\n")
        self.assert_found("versions", "CHANGELOG.md: says 1.2.2, CMakeLists.txt says 1.2.3")


class Spelling(PlantedTree):
    def test_accepts_the_misspellings_that_operators_search_for(self):
        self.copy(".codespellrc")
        self.plant("a.cpp", '"sujbect" "defintion"\n')
        self.assert_clean("spelling")

    def test_finds_any_other(self):
        self.copy(".codespellrc")
        self.plant("a.cpp", "// Recie" "ved too late.\n")
        self.assert_fault("spelling", "a.cpp:1: Recie" "ved ==> Received")


class Shell(PlantedTree):
    def test_accepts_a_quoted_variable(self):
        self.plant("a", '#!/usr/bin/env bash\necho "$1"\n')
        self.assert_clean("shell")

    def test_finds_an_unquoted_variable(self):
        self.plant("a", "#!/usr/bin/env bash\necho $1\n")
        self.assert_fault("shell", "SC2086")


class Javascript(PlantedTree):
    PATH = "tools/corvelctl/view/page/a.js"

    def test_accepts_a_module(self):
        self.plant(self.PATH, 'import {b} from "./b.js";\nexport function a() {\n    return b;\n}\n')
        self.assert_clean("javascript")

    def test_finds_an_error_of_syntax(self):
        self.plant(self.PATH, "const = 1;\n")
        self.assert_fault("javascript", "SyntaxError")

    def test_finds_a_long_function(self):
        self.plant(self.PATH, "class A {\n    async a(b) {\n" + "        b();\n" * 51 + "    }\n}\n")
        self.assert_found("javascript", f"{self.PATH}:2: a function has 52 lines, 50 at most")


class Links(PlantedTree):
    def test_accepts_files_headings_and_the_outside(self):
        self.plant("docs/a.md", "# One `name`, two\n[b](../b.md#some-heading) [x](https://x.y/)\n"
                   "[up](#one-name-two)\n```\n[in code](nowhere.md)\n```\n")
        self.plant("b.md", "## Some heading\n")
        self.assert_clean("links")

    def test_finds_a_missing_file(self):
        self.plant("docs/a.md", "\n[b](b.md)\n")
        self.assert_found("links", "docs/a.md:2: b.md does not exist")

    def test_finds_a_missing_heading(self):
        self.plant("a.md", "[b](b.md#other)\n")
        self.plant("b.md", "# Some heading\n")
        self.assert_found("links", "a.md:1: b.md has no heading other")


class Layers(PlantedTree):
    def test_accepts_what_the_table_allows(self):
        self.plant("include/hub/a.hpp", "#include <hub/b.hpp>\n#include <mutex>\n")
        self.plant("src/provider/a.cpp",
                   '#include "provider/a.hpp"\n#include "errors/a.hpp"\n#include <hub/a.hpp>\n')
        self.plant("src/runtime/a.cpp", "#include <nats/nats.h>\n#include <curl/curl.h>\n")
        self.plant("tests/a.cpp", '#include <nats/nats.h>\n#include "provider/a.hpp"\n')
        self.assert_clean("layers")

    def test_finds_the_other_role(self):
        self.plant("src/provider/a.cpp", '#include <mutex>\n  #  include "consumer/a.hpp"\n')
        self.assert_found(
            "layers", 'src/provider/a.cpp:2: src/provider may not include "consumer/a.hpp"')

    def test_finds_a_layer_that_the_errors_would_depend_on(self):
        self.plant("src/errors/a.cpp", '#include "errors/a.hpp"\n#include "runtime/a.hpp"\n')
        self.assert_found(
            "layers", 'src/errors/a.cpp:2: src/errors may not include "runtime/a.hpp"')

    def test_finds_a_foreign_library_outside_its_door(self):
        self.plant("src/consumer/a.hpp", "#include <nats/nats.h>\n")
        self.plant("include/hub/a.hpp", "#include <curl/curl.h>\n")
        self.assert_found(
            "layers",
            "include/hub/a.hpp:1: include/hub may not include <curl/curl.h>",
            "src/consumer/a.hpp:1: src/consumer may not include <nats/nats.h>")

    def test_accepts_names_of_ours_that_begin_like_those_of_the_nats_client(self):
        self.plant("src/provider/a.cpp", "nats_session open(text nats_url); // NATS server\n")
        self.plant("src/runtime/a.cpp", "natsStatus status = NATS_OK;\n")
        self.assert_clean("layers")

    def test_finds_a_name_of_the_nats_client_in_a_role(self):
        self.plant("src/provider/a.cpp", "\nauto status = natsStatus{NATS_OK};\n")
        self.plant("src/consumer/a.hpp", "void take(natsMsg* message);\n")
        self.assert_found(
            "layers",
            "src/consumer/a.hpp:1: natsMsg is a name of the NATS client",
            "src/provider/a.cpp:2: natsStatus is a name of the NATS client",
            "src/provider/a.cpp:2: NATS_OK is a name of the NATS client")

    def test_finds_an_example_that_reaches_behind_the_interface(self):
        self.plant("examples/one/a.cpp", '#include "model/value_text.hpp"\n')
        self.assert_found(
            "layers", 'examples/one/a.cpp:1: examples may not include "model/value_text.hpp"')


class ForeignTypes(PlantedTree):
    def test_accepts_comments_and_a_parameter_called_nats_url(self):
        self.plant("include/hub/a.hpp",
                   "// a natsConnection\n/* a\n CURL */\nvoid connect(text const& nats_url);\n")
        self.assert_clean("foreign_types")

    def test_finds_a_handle(self):
        self.plant("include/hub/a.hpp", "// one\nclass a { natsConnection* m_connection; };\n")
        self.assert_found(
            "foreign_types", "include/hub/a.hpp:2: natsConnection belongs to a foreign library")


class Suppressions(PlantedTree):
    def test_accepts_a_rule_and_a_reason(self):
        self.plant("a.cpp", "int a; // NOLINT(*-magic, cert-a): given\n"
                   "// NOLINTNEXTLINE(some-rule): the reason\nint b;\n")
        self.assert_clean("suppressions")

    def test_finds_a_missing_rule_or_reason(self):
        self.plant("a.cpp", "int a; // NOLINT\nint b; // NOLINT(some-rule)\n")
        self.assert_found(
            "suppressions",
            "a.cpp:1: a suppression reads NOLINT(rule): reason: int a; // NOLINT",
            "a.cpp:2: a suppression reads NOLINT(rule): reason: int b; // NOLINT(some-rule)")


class Lengths(PlantedTree):
    def test_accepts_what_is_just_short_enough_and_other_files_of_any_length(self):
        self.plant("examples/furnace/main.cpp", "//\n" * 80)
        self.plant("examples/boiler/main.cpp", "//\n" * 200)
        self.assert_clean("lengths")

    def test_finds_an_example_that_has_grown(self):
        self.plant("examples/furnace/main.cpp", "//\n" * 81)
        self.assert_found("lengths", "examples/furnace/main.cpp: 81 lines, 80 at most")


class Idioms(PlantedTree):
    def test_accepts_names_that_are_used_and_constructors_of_a_base(self):
        self.plant("a.cpp", "using std::chrono::seconds;\nusing number = int;\nseconds wait;\n"
                            "struct b : a {\n    using a::a;\n    using c::get;\n};\n")
        self.assert_clean("idioms")

    def test_finds_a_name_that_is_not_used(self):
        self.plant("a.cpp", "\nusing std::chrono::seconds;\nint nanoseconds;\n")
        self.assert_found("idioms", "a.cpp:2: seconds is not used")

    def test_finds_a_typedef(self):
        self.plant("a.hpp", "\n    typedef int number;\n")
        self.assert_found("idioms", "a.hpp:2: use using instead of typedef")

    def test_finds_two_classes_of_one_name(self):
        self.plant("include/hub/a.hpp", "class CORVEL_HUB_API oven {\n")
        self.plant("src/oven/b.hpp", "\nstruct oven final : base {\n")
        self.assert_found("idioms", "src/oven/b.hpp:2: include/hub/a.hpp defines oven, too")

    def test_accepts_what_is_declared_again_or_nested(self):
        self.plant("include/hub/a.hpp", "class oven {\n    struct door {\n")
        self.plant("src/oven/b.hpp", "class oven;\nclass oven::impl {\nstruct door {\n")
        self.plant("tests/c.hpp", "struct oven {\n")
        self.assert_clean("idioms")


class Loops(PlantedTree):
    def setUp(self):
        super().setUp()
        self.plant("include/hub/a.hpp",
                   "current_variables get_current_variables();\n"
                   "std::shared_ptr<std::set<std::string>> get_identifiers();\n"
                   "static std::shared_ptr<oven> create(std::string const& name);\n"
                   "std::map<int, int> const& get_map();\n")

    def plant_loop(self, expression):
        self.plant("a.cpp", f"\nfor (auto const& [id, variable] : {expression}) {{\n}}\n")

    def assert_dangling(self, expression):
        self.plant_loop(expression)
        self.assert_found("loops", f"a.cpp:2: the range is inside of a temporary: {expression}")

    def assert_whole(self, expression):
        self.plant_loop(expression)
        self.assert_clean("loops")

    def test_accepts_the_owner_itself_a_named_owner_and_a_reference(self):
        self.assert_whole("oven->get_current_variables()")
        self.assert_whole("create(name(1))->get_current_variables()")
        self.assert_whole("*identifiers")
        self.assert_whole("oven.get_map()")

    def test_accepts_a_loop_over_an_owner_that_the_loop_itself_names(self):
        self.plant("a.cpp", "for (auto const ids = get_identifiers(); auto const& id : *ids) {}\n"
                            "for (int i = *get_identifiers() ? 1 : 2; i < 3; ++i) {}\n")
        self.assert_clean("loops")

    def test_finds_what_a_temporary_points_to(self):
        self.assert_dangling("*oven->get_identifiers()")
        self.assert_dangling("*oven->get_current_variables().variables")

    def test_knows_the_owners_of_internal_headers(self):
        self.plant("src/session/b.hpp",
                   "    [[nodiscard]] std::shared_ptr<list const> get_followed() const;\n")
        self.assert_dangling("*m_directory->get_followed()")

    def test_finds_what_a_temporary_returns_a_reference_to(self):
        self.assert_dangling("create(name(1))->get_map()")

    def test_looks_into_documents_too(self):
        self.plant("docs/a.md", "```cpp\nfor (auto const& id : *get_identifiers()) {}\n```\n")
        self.assert_found(
            "loops", "docs/a.md:2: the range is inside of a temporary: *get_identifiers()")
