// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How many atomic read-modify-writes the small mutexes of a role need for each value. Prints one
// line per count: row, variant and figure, separated by tabs.

#include "locks/small_mutex.hpp"
#include "support/null_nats.hpp"
#include "support/roles.hpp"

#include <exception>
#include <iostream>

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::size_t variables = 1'000;

template <class Work>
void count(char const* variant, Work const& work) {
    auto const before = small_mutex::read_modify_writes();
    work();
    auto const counted = static_cast<double>(small_mutex::read_modify_writes() - before);
    std::cout << "19\t" << variant << '\t' << counted / variables << std::endl;
}

void count_all() {
    connected_provider const publisher{variables, content::doubles};
    auto const values = publisher.values();
    count("publish N=1000", [&] { publisher.list().bulk_publish(values, noon); });

    connected_consumer receiver{
        make_definition_reply(make_entries(variables, content::doubles), publisher.first_id())};
    auto const connection = receiver.attach();
    null_nats::incoming_message const event{
        "v1.loc.press.vars.evt.changed", publisher.change_event()};
    count("apply N=1000", [&] { null_nats::deliver(event); });
}

} // namespace

} // namespace arvenhold::corvel::hub::bench

int main() {
    try {
        arvenhold::corvel::hub::bench::count_all();
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
