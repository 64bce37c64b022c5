# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The checks that call a compiler or another tool."""

import json

from planted_tree import PlantedTree


class Format(PlantedTree):
    def setUp(self):
        super().setUp()
        self.copy(".clang-format")

    def test_accepts_what_the_formatter_wrote(self):
        self.plant("a.cpp", "int answer(int const& question);\n")
        self.assert_clean("format")

    def test_finds_anything_else(self):
        self.plant("a.cpp", "int answer(const int &question);\n")
        self.assert_fault("format", r"a\.cpp:1:.*code should be clang-formatted")


class HeadersAlone(PlantedTree):
    def test_accepts_a_header_that_includes_what_it_uses(self):
        self.plant("include/hub/a.hpp", "#pragma once\n#include <string>\nstd::string name();\n")
        self.assert_clean("headers_alone")

    def test_finds_a_header_that_needs_another(self):
        self.plant("src/model/a.hpp", "#pragma once\nstd::string name();\n")
        self.assert_fault("headers_alone", r"src/model/a\.hpp: g\+\+ -std=c\+\+20:")

    def test_finds_a_public_header_that_needs_the_newer_standard(self):
        self.plant("include/hub/a.hpp",
                   "#pragma once\ntemplate <class T> concept any = sizeof(T) > 0;\n")
        code, output = self.run_check("headers_alone")
        self.assertEqual(code, 1)
        self.assertIn("include/hub/a.hpp: g++ -std=c++17:", output)
        self.assertNotIn("include/hub/a.hpp: g++ -std=c++20:", output)


class Snippets(PlantedTree):
    def test_accepts_whole_files_later_files_that_include_earlier_ones_and_fragments(self):
        self.plant("a.md", "```cpp\n// src/model/one.hpp\n#pragma once\nint one();\n```\n"
                   '```cpp\n#include "model/one.hpp"\nint two() { return one() * 2; }\n```\n'
                   "```c++\nsomething(else);\n```\n")
        self.assert_clean("snippets")

    def test_finds_an_example_that_does_not_compile(self):
        self.plant("a.md", "```cpp\nint one();\n```\n```cpp\nint two() { return zwei; }\n```\n")
        self.assert_fault("snippets", r"a\.md: block 2 does not compile:")


class Documentation(PlantedTree):
    HEAD = "#pragma once\n/// Everything.\nnamespace some {\n"

    def setUp(self):
        super().setUp()
        for name in ("Doxyfile.in", "docs/manual.css", "docs/manual_layout.xml"):
            self.copy(name)
        self.plant("CMakeLists.txt", "project(some VERSION 1.2.3 LANGUAGES CXX)\n")

    def test_accepts_a_contract(self):
        self.plant("include/hub/a.hpp", self.HEAD +
                   "/// Returns the answer.\n/// @param question  Any.\nint answer(int question);\n}\n")
        self.assert_clean("documentation")

    def test_finds_an_undocumented_function(self):
        self.plant("include/hub/a.hpp", self.HEAD + "int answer();\n}\n")
        self.assert_fault("documentation", r"a\.hpp:4: .*answer.* is not documented")

    def test_finds_an_undocumented_parameter(self):
        self.plant("include/hub/a.hpp", self.HEAD +
                   "/// Answers.\n/// @param one  Any.\nvoid answer(int one, int two);\n}\n")
        self.assert_fault("documentation", r"parameter 'two'")

    def test_accepts_a_deleted_function_without_a_contract(self):
        self.plant("include/hub/a.hpp", self.HEAD +
                   "/// A class.\nclass thing {\npublic:\n"
                   "    /// Not from a temporary.\n    void use(\n        int) = delete;\n"
                   "    thing& operator=(thing const&) = delete;\n};\n}\n")
        self.assert_clean("documentation")

    def test_finds_what_belongs_to_no_group(self):
        self.plant("include/hub/a.hpp", self.HEAD +
                   "/// A class.\nclass one {};\n/// Another.\nclass two {};\n"
                   "/// Numbers.\nenum class three {};\n}\n")
        self.plant("docs/manual_groups.dox",
                   "/// @defgroup values Values\n/// All.\n\n"
                   "/// @class some::one\n/// @ingroup values\n")
        self.assert_fault("documentation", "some::two belongs to no group of the manual")
        self.assert_fault("documentation", "three belongs to no group of the manual")

    def test_finds_a_link_between_pages_that_leads_nowhere(self):
        self.plant("include/hub/a.hpp", self.HEAD + "}\n")
        self.plant("README.md", "# Some\n\nSee [there](docs/there.md#missing).\n")
        self.plant("docs/there.md", "# There\n\nMore.\n")
        self.assert_fault("documentation", "docs-there--missing")


class LibraryBuilds(PlantedTree):
    def setUp(self):
        super().setUp()
        self.copy("CMakePresets.json")
        self.plant("CMakeLists.txt", "cmake_minimum_required(VERSION 3.25)\n"
                   "project(some LANGUAGES CXX)\n"
                   "add_library(corvel-hub-client a.cpp)\n"
                   "add_custom_target(corvel-hub-session DEPENDS corvel-hub-client)\n"
                   "add_custom_target(corvel-hub-testkit DEPENDS corvel-hub-session)\n"
                   "target_compile_options(corvel-hub-client\n"
                   "    PRIVATE -Wall -Wnull-dereference -Werror)\n")

    def test_finds_a_warning_until_it_is_mended(self):
        self.plant("a.cpp", "int answer() { int unused = 1; return 0; }\n")
        self.assert_fault("library_builds", "unused variable 'unused'")
        self.plant("a.cpp", "int answer() { return 0; }\n")
        self.assert_clean("library_builds")

    def test_finds_what_only_clang_sees(self):
        self.plant("a.cpp", "class some {\n    int m_unused = 1;\n};\n")
        self.assert_fault("library_builds", r"a\.cpp:2:.*\[-Werror,-Wunused-private-field\]")

    def test_finds_what_only_the_optimiser_sees(self):
        self.plant("a.cpp", "static int* find(bool there, int& number) {\n"
                   "    return there ? &number : nullptr;\n}\n"
                   "int answer(bool there);\n"
                   "int answer(bool there) {\n    int number = 1;\n"
                   "    return *find(there, number);\n}\n")
        self.assert_fault("library_builds", r"a\.cpp:7:.*\[-Werror=null-dereference\]")


class PublicSurface(PlantedTree):
    LIBRARIES = ["src/libcorvel-hub-client", "src/session/libcorvel-hub-session"]
    SOURCE = '__attribute__((visibility("default"))) int answer(int) { return 1; }\n'

    def setUp(self):
        super().setUp()
        self.plant("a.cpp", self.SOURCE)
        for library in self.LIBRARIES:
            built = f"build/clang/{library}.so"
            self.plant(built, "")
            self.command("clang++-14", "-shared", "-fPIC", "-fvisibility=hidden", "a.cpp", "-o",
                         built)

    def test_accepts_its_own_lists(self):
        self.assert_clean("public_surface", "--update")
        self.assert_clean("public_surface")

    def test_finds_new_and_lost_symbols_of_each_library(self):
        self.plant("packaging/abi/libcorvel-hub-client.symbols", "# a comment\nanswer(int)\n")
        self.plant("packaging/abi/libcorvel-hub-session.symbols", "# a comment\nquestion()\n")
        self.assert_found("public_surface",
                          "libcorvel-hub-session: exported, but not listed: answer(int)",
                          "libcorvel-hub-session: listed, but not exported: question()")


class Abi(PlantedTree):
    LIBRARIES = ["src/libcorvel-hub-client", "src/session/libcorvel-hub-session"]

    def build(self, members, soname_version="1.2"):
        self.plant("CMakeLists.txt", "project(some VERSION 1.2.3 LANGUAGES CXX)\n")
        self.plant("include/hub/a.hpp", f"struct pair {{ {members} }};\nint sum(pair const& of);\n")
        self.plant("a.cpp", '#include <hub/a.hpp>\nint sum(pair const& of) { return of.first; }\n')
        for library in self.LIBRARIES:
            built = f"build/gcc/{library}.so"
            self.plant(built, "")
            soname = f"{library.rpartition('/')[2]}.so.{soname_version}"
            self.command("g++", "-g", "-shared", "-fPIC", "-Iinclude", f"-Wl,-soname,{soname}", "a.cpp",
                         "-o", built)

    def record(self):
        self.assert_clean("abi", "--update")

    def test_accepts_the_recorded_interface(self):
        self.build("int first; int second;")
        self.record()
        self.assert_clean("abi")

    def test_finds_a_member_that_changes_a_size(self):
        self.build("int first; int second;")
        self.record()
        self.build("int first; int second; int third;")
        self.assert_fault("abi", "type size changed from 64 to 96")

    def test_finds_a_soname_of_another_version(self):
        self.build("int first;", soname_version="1")
        code, output = self.run_check("abi", "--update")
        self.assertEqual(code, 1)
        self.assertIn("src/session/libcorvel-hub-session: has the SONAME libcorvel-hub-session.so.1 "
                      "instead of libcorvel-hub-session.so.1.2", output)


class LockRules(PlantedTree):
    HEAD = """#include <hub/detail/thread_annotations.hpp>
#include <mutex>
class counter {
    std::mutex m_mutex;
    int m_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
public:
"""

    def setUp(self):
        super().setUp()
        self.copy("include/hub/detail/thread_annotations.hpp")

    def test_accepts_a_guarded_access(self):
        self.plant("src/a.cpp", self.HEAD +
                   "int next() { std::scoped_lock const lock{m_mutex}; return ++m_count; } };\n")
        self.assert_clean("lock_rules")

    def test_finds_an_unguarded_access(self):
        self.plant("src/a.cpp", self.HEAD + "int next() { return ++m_count; } };\n")
        self.assert_fault("lock_rules", "requires holding mutex 'm_mutex' exclusively")

    def test_finds_a_wrong_order(self):
        self.plant("src/a.cpp", """#include <hub/detail/thread_annotations.hpp>
#include <mutex>
class pair {
    std::mutex m_first;
    std::mutex m_second CORVEL_HUB_ACQUIRED_AFTER(m_first);
public:
    void both() {
        std::scoped_lock const second{m_second};
        std::scoped_lock const first{m_first};
    }
};
""")
        self.assert_fault("lock_rules", "mutex 'm_first' must be acquired before 'm_second'")


class ClangTidy(PlantedTree):
    def setUp(self):
        super().setUp()
        self.copy(".clang-tidy")
        self.compile("")

    def compile(self, *options):
        """Lets one target for each of the options compile the source."""
        self.plant("build/clang/compile_commands.json", json.dumps([{
            "directory": str(self.folder),
            "file": str(self.folder / "src/a.cpp"),
            "command": f"clang++-14 -std=c++20 -Wall -Werror {option} -o a.o -c "
                       f"{self.folder}/src/a.cpp",
        } for option in options]))

    def test_accepts_our_names(self):
        self.plant("src/a.cpp", "class counter {\npublic:\n    int next() { return ++m_count; }\n\n"
                   "private:\n    static int const first_id_;\n    int m_count = 0;\n};\n")
        self.assert_clean("clang_tidy")

    def test_finds_a_private_member_without_its_mark(self):
        self.plant("src/a.cpp", "class counter {\npublic:\n    int next() { return ++count; }\n\n"
                   "private:\n    int count = 0;\n};\n")
        self.assert_fault("clang_tidy", "invalid case style for private member 'count'")

    def test_finds_what_the_compiler_warns_of(self):
        self.plant("src/a.cpp", "int answer() {\n    int unused = 1;\n    return 0;\n}\n")
        self.assert_fault("clang_tidy", "unused variable 'unused'")

    def test_looks_once_at_a_file_of_two_targets(self):
        self.compile("-DNAME=first", "-DNAME=second")
        self.plant("src/a.cpp", "int answer() {\n    int NAME = 1;\n    return 0;\n}\n")
        _, output = self.run_check("clang_tidy")
        self.assertEqual(output.count("error: unused variable"), 1, output)

    def test_looks_again_when_a_header_has_changed(self):
        self.plant("src/a.hpp", "inline int one() {\n    return 1;\n}\n")
        self.plant("src/a.cpp", '#include "a.hpp"\nint two() {\n    return 2 * one();\n}\n')
        self.assert_clean("clang_tidy")
        self.plant("src/a.hpp", "inline int one() {\n    int unused = 1;\n    return 1;\n}\n")
        self.assert_fault("clang_tidy", "unused variable 'unused'")

    def test_looks_again_when_a_comment_that_silenced_a_rule_has_changed(self):
        self.plant("src/a.cpp", "typedef int id[2]; // NOLINT(modernize-avoid-c-arrays): given\n")
        self.assert_clean("clang_tidy")
        self.plant("src/a.cpp", "typedef int id[2]; // given\n")
        self.assert_fault("clang_tidy", "do not declare C-style arrays")

    def test_looks_again_when_a_rule_has_changed(self):
        self.plant("src/a.cpp", "int answer() {\n    return 17;\n}\n")
        self.assert_clean("clang_tidy")
        self.plant(".clang-tidy", "Checks: '-*,readability-magic-numbers'\nWarningsAsErrors: '*'\n")
        self.assert_fault("clang_tidy", "17 is a magic number")

    def test_finds_deep_nesting(self):
        self.plant("src/a.cpp", "int depth(bool a, bool b, bool c, bool d) {\n"
                   "    if (a) {\nif (b) {\nif (c) {\nif (d) {\nreturn 4;\n}\n}\n}\n}\nreturn 0;\n}\n")
        self.assert_fault("clang_tidy", "readability-function-size")
