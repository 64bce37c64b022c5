// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a consumer does with what it receives, and a provider with what it is asked.

#include "benchmarks.hpp"
#include "support/hand_written.hpp"
#include "support/null_nats.hpp"
#include "support/roles.hpp"
#include "support/side_by_side.hpp"

#include <malloc.h>

#include <cstring>

namespace arvenhold::corvel::hub::bench {

namespace {

// A copy that begins at a multiple of eight.
class aligned_bytes {
public:
    explicit aligned_bytes(std::string_view bytes)
        : m_block(bytes.size() / sizeof(std::uint64_t) + 1)
        , m_size{bytes.size()} {
        std::memcpy(m_block.data(), bytes.data(), bytes.size());
    }

    [[nodiscard]] std::string_view view() const {
        return {static_cast<char const*>(static_cast<void const*>(m_block.data())), m_size};
    }

private:
    std::vector<std::uint64_t> m_block;
    std::size_t m_size;
};

// Returns a turn that calls `work` the given number of times.
template <class Work>
auto repeated(Work const& work) {
    return [&work](std::size_t calls) {
        return time_of([&] {
            for (std::size_t call = 0; call < calls; ++call) {
                work();
            }
        });
    };
}

void compare_applying(benchmark::State& state, std::size_t count) {
    connected_provider const publisher{count, content::doubles};
    connected_consumer receiver{
        make_definition_reply(make_entries(count, content::doubles), publisher.first_id())};
    auto const connection = receiver.attach();
    auto const event = publisher.change_event();
    null_nats::incoming_message const message{"v1.loc.press.vars.evt.changed", event};
    aligned_bytes const aligned{event};
    auto const apply = [&] {
        null_nats::deliver(message);
    };
    auto const read = [&] {
        benchmark::DoNotOptimize(walk(aligned.view()));
    };
    run_side_by_side(state, repeated(apply), repeated(read));
}

void compare_replies(benchmark::State& state) {
    connected_provider const publisher{1'000, content::doubles};
    auto const samples = double_samples(publisher.values());
    flatbuffers::FlatBufferBuilder request;
    std::vector<variable_id> ids;
    for (auto const& sample : samples) {
        ids.push_back(sample.id);
    }
    request.Finish(CreateReadVariablesQuery(request, request.CreateVector(ids)));
    null_nats::incoming_message const message{
        "v1.loc.press.vars.qry.read",
        {static_cast<char const*>(static_cast<void*>(request.GetBufferPointer())),
         request.GetSize()},
        "_INBOX.panel.1"};
    auto const answer = [&] {
        null_nats::deliver(message);
    };
    auto const encode = [&] {
        benchmark::DoNotOptimize(encode_reply(samples));
    };
    run_side_by_side(state, repeated(answer), repeated(encode));
}

void compare_attaching(benchmark::State& state) {
    constexpr std::size_t count = 10'000;
    auto const definition = make_definition_reply(make_entries(count, content::mixed), 1);
    connected_consumer receiver{definition};
    aligned_bytes const aligned{definition};
    auto const attach = [&](std::size_t calls) {
        std::vector<std::shared_ptr<provider_connection>> made(calls);
        malloc_trim(0); // as in a process that attaches for the first time
        return time_of([&] {
            for (auto& connection : made) {
                connection = receiver.attach();
            }
        });
    };
    auto const decode = [&](std::size_t calls) {
        std::vector<std::vector<plain_definition>> made(calls);
        malloc_trim(0); // likewise
        return time_of([&] {
            for (auto& all : made) {
                all = decode_definition(aligned.view());
            }
        });
    };
    run_side_by_side(state, attach, decode);
}

} // namespace

void register_receive_benchmarks() {
    compare("7", "N=1000", [](auto& state) { compare_applying(state, 1'000); });
    compare("8", "N=100000", [](auto& state) { compare_applying(state, 100'000); });
    compare("9", "N=1000", compare_replies);
    compare("10", "N=10000", compare_attaching);
}

} // namespace arvenhold::corvel::hub::bench
