// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/hand_written.hpp"

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::size_t initial_size = 1024;
constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;

using builder_type = flatbuffers::FlatBufferBuilder;
using items_type = std::vector<flatbuffers::Offset<Variable>>;

Timestamp split(std::chrono::nanoseconds span) {
    return {
        span.count() / nanoseconds_per_second,
        static_cast<std::int32_t>(span.count() % nanoseconds_per_second)};
}

// Writes the table of a value and returns it with its tag.
struct value_encoder {
    using written = std::pair<VariableValue, flatbuffers::Offset<void>>;

    builder_type& builder;

    written operator()(bool value) const {
        return {VariableValue::BoolValue, CreateBoolValue(builder, value).Union()};
    }
    written operator()(double value) const {
        return {VariableValue::DoubleValue, CreateDoubleValue(builder, value).Union()};
    }
    written operator()(std::int64_t value) const {
        return {VariableValue::Int64Value, CreateInt64Value(builder, value).Union()};
    }
    written operator()(std::string const& value) const {
        auto const text = builder.CreateString(value);
        return {VariableValue::StringValue, CreateStringValue(builder, text).Union()};
    }
    written operator()(timestamp value) const {
        auto const time = split(value.time_since_epoch());
        return {VariableValue::TimestampValue, CreateTimestampValue(builder, &time).Union()};
    }
    written operator()(std::chrono::nanoseconds value) const {
        auto const time = split(value);
        return {VariableValue::DurationValue, CreateDurationValue(builder, &time).Union()};
    }
};

flatbuffers::Offset<Variable> item_without_time(
    builder_type& builder,
    value_encoder::written const& value,
    variable_id id,
    VariableQuality quality) {
    VariableBuilder item{builder};
    item.add_id(id);
    item.add_value(value.second);
    item.add_quality(quality);
    item.add_value_type(value.first);
    return item.Finish();
}

flatbuffers::Offset<VariableList> finish_list(builder_type& builder, items_type const& items) {
    auto const vector = builder.CreateVector(items);
    auto const time = split(noon.time_since_epoch());
    return CreateVariableList(builder, fingerprint, &time, vector);
}

} // namespace

std::vector<double_sample> double_samples(new_values const& values) {
    std::vector<double_sample> samples;
    samples.reserve(values.size());
    for (auto const& [id, value] : values) {
        samples.push_back(
            {id, std::get<double>(value), VariableQuality::Good, split(noon.time_since_epoch())});
    }
    return samples;
}

std::vector<mixed_sample> mixed_samples(new_values const& values) {
    std::vector<mixed_sample> samples;
    samples.reserve(values.size());
    for (auto const& [id, value] : values) {
        samples.push_back({id, value, VariableQuality::Good});
    }
    return samples;
}

std::size_t encode_event(std::vector<double_sample> const& samples) {
    builder_type builder{initial_size};
    builder.ForceDefaults(true);
    items_type items;
    items.reserve(samples.size());
    for (auto const& sample : samples) {
        items.push_back(item_without_time(
            builder,
            {VariableValue::DoubleValue, CreateDoubleValue(builder, sample.value).Union()},
            sample.id,
            sample.quality));
    }
    builder.Finish(CreateVariablesChangedEvent(builder, finish_list(builder, items)));
    return builder.GetSize();
}

std::size_t encode_event(std::vector<mixed_sample> const& samples) {
    builder_type builder{initial_size};
    builder.ForceDefaults(true);
    items_type items;
    items.reserve(samples.size());
    for (auto const& sample : samples) {
        items.push_back(item_without_time(
            builder, std::visit(value_encoder{builder}, sample.value), sample.id, sample.quality));
    }
    builder.Finish(CreateVariablesChangedEvent(builder, finish_list(builder, items)));
    return builder.GetSize();
}

std::size_t encode_reply(std::vector<double_sample> const& samples) {
    builder_type builder{initial_size};
    builder.ForceDefaults(true);
    items_type items;
    items.reserve(samples.size());
    for (auto const& sample : samples) {
        auto const value = CreateDoubleValue(builder, sample.value).Union();
        items.push_back(CreateVariable(
            builder, VariableValue::DoubleValue, value, sample.id, &sample.when, sample.quality));
    }
    builder.Finish(CreateReadVariablesQueryResponse(builder, finish_list(builder, items)));
    return builder.GetSize();
}

double walk(std::string_view event) {
    auto const& list = *flatbuffers::GetRoot<VariablesChangedEvent>(event.data())->variables();
    auto sum = static_cast<double>(list.fingerprint());
    sum += static_cast<double>(list.timestamp()->seconds() + list.timestamp()->nanos());
    std::uint64_t others = 0;
    for (auto const* const item : *list.items()) {
        others += item->id() + static_cast<std::uint64_t>(item->quality())
                + static_cast<std::uint64_t>(item->value_type())
                + (item->timestamp() != nullptr ? 1U : 0U);
        sum += item->value_as_DoubleValue()->value();
    }
    return sum + static_cast<double>(others);
}

std::vector<plain_definition> decode_definition(std::string_view reply) {
    auto const& definition =
        *flatbuffers::GetRoot<ReadProviderDefinitionQueryResponse>(reply.data())
             ->provider_definition();
    std::vector<plain_definition> all;
    all.reserve(definition.variable_definitions()->size());
    for (auto const* const variable : *definition.variable_definitions()) {
        all.push_back(
            {variable->id(), variable->path()->str(), variable->data_type(), variable->access()});
    }
    return all;
}

} // namespace arvenhold::corvel::hub::bench
