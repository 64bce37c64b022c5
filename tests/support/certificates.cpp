// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/certificates.hpp"

#include "dev_hub/child_process.hpp"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

void run_openssl(std::vector<std::string> const& arguments) {
    auto const program = dev::find_executable("openssl");
    if (!program) {
        throw std::runtime_error{"openssl is not installed"};
    }
    dev::child_process const openssl{*program, arguments};
    if (!openssl.wait_until_ended(std::chrono::seconds{30}) || openssl.get_exit_code() != 0) {
        throw std::runtime_error{"openssl made no certificate: " + openssl.get_output()};
    }
}

} // namespace

temporary_folder::temporary_folder() {
    auto name = (std::filesystem::temp_directory_path() / "corvel-hub-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error{"There is no temporary folder"};
    }
    m_path = name;
}

temporary_folder::~temporary_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string temporary_folder::file(std::string const& name) const {
    return m_path / name;
}

certificate_files make_self_signed(temporary_folder const& folder, std::string const& name) {
    certificate_files made{folder.file(name + ".pem"), folder.file(name + ".key")};
    run_openssl(
        {"req",
         "-x509",
         "-newkey",
         "rsa:2048",
         "-nodes",
         "-days",
         "1",
         "-subj",
         "/CN=" + name,
         "-keyout",
         made.key,
         "-out",
         made.certificate});
    return made;
}

certificate_authority::certificate_authority()
    : m_own{make_self_signed(m_folder, "authority")} {}

std::string certificate_authority::file() const {
    return m_own.certificate;
}

certificate_files certificate_authority::make(
    std::string const& name, std::string const& subject_altname) const {
    certificate_files made{m_folder.file(name + ".pem"), m_folder.file(name + ".key")};
    auto const request = m_folder.file(name + ".request");
    auto const extensions = m_folder.file(name + ".extensions");
    std::ofstream{extensions} << "subjectAltName=" << subject_altname << '\n';
    run_openssl(
        {"req",
         "-newkey",
         "rsa:2048",
         "-nodes",
         "-subj",
         "/CN=" + name,
         "-keyout",
         made.key,
         "-out",
         request});
    run_openssl(
        {"x509",
         "-req",
         "-in",
         request,
         "-CA",
         m_own.certificate,
         "-CAkey",
         m_own.key,
         "-CAcreateserial",
         "-days",
         "1",
         "-extfile",
         extensions,
         "-out",
         made.certificate});
    return made;
}

} // namespace arvenhold::corvel::hub
