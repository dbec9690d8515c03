// Records on top of the JSON layer: a list reply read into entities (parse
// plus one record read per element, as the query API does it), and a large
// query written as the request body.

#include <cstdio>
#include <cstdlib>

#include <benchmark/benchmark.h>

#include "bench/entity_reply.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"

namespace {

using tarsion::quorvel::api::BusinessEntitiesQueryApi;
using namespace tarsion::quorvel::dto;

void BM_ReadEntities(benchmark::State& state)
{
    const std::size_t count = quorvel_bench::entity_count_for_size(quorvel_bench::kReplyTargetBytes);
    const std::string reply = quorvel_bench::make_entity_list_reply(count);
    const auto check = BusinessEntitiesQueryApi::entities_from(reply);
    if (!check || check->size() != count) {
        std::fprintf(stderr, "quorvel_bench: the generated reply does not read into %zu entities\n", count);
        std::abort();
    }
    for (auto _ : state) {
        auto entities = BusinessEntitiesQueryApi::entities_from(reply);
        benchmark::DoNotOptimize(entities);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * reply.size()));
    state.SetLabel(std::to_string(count) + " entities");
}
BENCHMARK(BM_ReadEntities)->Name("BM_Records/read_entity_list")->Unit(benchmark::kMillisecond);

// A query as large as a caller would plausibly build: every list kind filled.
BusinessEntitiesQueryDto large_query(std::size_t filters)
{
    BusinessEntitiesQueryDto q;
    q.entitiesByIds.emplace();
    q.entitiesByAttributeValues.emplace();
    q.entitiesByReferencedTo.emplace();
    q.entitiesByEntityTypeKeys = std::vector<std::string>{"BUSINESS_TICKET", "SUBJECT", "USER_PROFILE"};
    q.entitiesByEntityTypesWithInheritance = false;
    for (std::size_t i = 0; i < filters; ++i) {
        q.entitiesByIds->push_back({0x0123456789abcdefull * (i + 1), i});
        AttributeValueQueryFilterDto filter;
        filter.attributeKey = "ATTRIBUTE_" + std::to_string(i);
        filter.operator_ = "Equals";
        filter.value = "value/" + std::to_string(i) + " \"quoted\"";
        filter.ignoreCase = i % 2 == 0;
        filter.locales = std::vector<std::string>{"EN_US", "DE_DE"};
        q.entitiesByAttributeValues->push_back(std::move(filter));
        ReferencedQueryFilterDto reference;
        reference.entityId = tarsion::uuid{i, ~i};
        reference.operator_ = "Equals";
        reference.key = "PARENT";
        q.entitiesByReferencedTo->push_back(std::move(reference));
    }
    EntitiesOptionsDto options;
    options.includeAttributeValuesByAttributeKeys = std::vector<std::string>{"TICKET_TITLE"};
    options.includeLocales = std::vector<std::string>{"EN_US"};
    options.includeReferences = true;
    q.entitiesOptions = std::move(options);
    return q;
}

void BM_WriteQuery(benchmark::State& state)
{
    const auto filters = static_cast<std::size_t>(state.range(0));
    const BusinessEntitiesQueryDto query = large_query(filters);
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string body = BusinessEntitiesQueryApi::body(query);
        bytes = body.size();
        benchmark::DoNotOptimize(body);
    }
    // Each filter brings an id, an attribute filter and a reference filter.
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * filters * 3));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
    state.SetLabel(std::to_string(bytes) + " B body");
}
BENCHMARK(BM_WriteQuery)->Name("BM_Records/write_query")->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace
