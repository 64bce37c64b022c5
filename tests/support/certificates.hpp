// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <filesystem>
#include <string>

namespace arvenhold::corvel::hub {

/// A folder that is removed with everything in it.
class temporary_folder {
public:
    temporary_folder();

    temporary_folder(temporary_folder const&) = delete;
    temporary_folder(temporary_folder&&) = delete;
    temporary_folder& operator=(temporary_folder const&) = delete;
    temporary_folder& operator=(temporary_folder&&) = delete;

    ~temporary_folder();

    /// Returns the path of a file in the folder.
    [[nodiscard]] std::string file(std::string const& name) const;

private:
    std::filesystem::path m_path;
};

/// A PEM file with a certificate, and one with its key.
struct certificate_files {
    std::string certificate;
    std::string key;
};

/// Creates a certificate that has signed itself, with the program openssl.
///
/// @param name  Names the two files, and becomes the common name.
certificate_files make_self_signed(temporary_folder const& folder, std::string const& name);

/// An authority, and certificates that it has signed, as files.
class certificate_authority {
public:
    certificate_authority();

    /// Returns the authority's own certificate.
    [[nodiscard]] std::string file() const;

    /// Creates a certificate.
    ///
    /// @param name            Names the two files, and becomes the common name.
    /// @param subject_altname What the certificate is for, as "IP:127.0.0.1" or "DNS:hub".
    [[nodiscard]] certificate_files make(
        std::string const& name, std::string const& subject_altname) const;

private:
    temporary_folder const m_folder;
    certificate_files const m_own;
};

} // namespace arvenhold::corvel::hub
