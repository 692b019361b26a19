#include <host/server/MetricsPage.hpp>
#include <host/server/PrometheusText.hpp>
#include <VexaClient/platform/Text.hpp>

namespace vexa::host {

namespace {

void addService(PrometheusText& out, const ServiceFigures& service)
{
    out.gauge("vexa_sessions", "Clients that have a session with the service.");
    out.value(service.sessions);
    out.gauge("vexa_subscriptions", "Subscriptions of all sessions.");
    out.value(service.subscriptions);
    out.counter("vexa_messages_published_total", "Messages that the broker took from clients and from the host.");
    out.value(service.published);
    out.counter("vexa_messages_delivered_total", "Messages sent to subscribers, counted once for each.");
    out.value(service.delivered);
    out.counter("vexa_messages_replayed_total", "Delivered messages that were marked as replayed.");
    out.value(service.replayed);
    out.counter("vexa_diagnostic_records_total", "Diagnostic records of clients.");
    out.value(service.serverLogRecords);
    out.counter("vexa_echoes_total", "Echo messages of clients.");
    out.value(service.echoes);
    out.counter("vexa_malformed_messages_total", "Messages of clients that the service could not read.");
    out.value(service.malformed);
    out.counter("vexa_unknown_messages_total", "Messages of clients of an unknown category or type.");
    out.value(service.unknown);
    out.counter("vexa_sessions_closed_by_service_total", "Sessions that the service ended.");
    out.value(service.closedByService);
}

void addConnections(PrometheusText& out, const ServerFigures& server)
{
    out.gauge("vexa_connections", "Open connections, of HTTP and WebSocket.");
    out.value(server.connections);
    out.counter("vexa_connections_accepted_total", "Connections that were accepted.");
    out.value(server.accepted);
    out.counter("vexa_connection_accept_failures_total", "Failed attempts to accept a connection.");
    out.value(server.acceptFailures);
    out.gauge("vexa_websockets", "Open WebSockets.");
    out.value(server.webSockets);
    out.counter("vexa_websockets_opened_total", "WebSockets that were opened.");
    out.value(server.webSocketsOpened);
    out.counter("vexa_websockets_closed_total", "WebSockets that are no more, by the reason.");
    for (std::size_t place = 0; place < closeReasonCount; ++place) {
        out.value(server.webSocketsClosed[place], {{"reason", labelOf(static_cast<CloseReason>(place))}});
    }
    out.counter("vexa_slow_clients_closed_total",
                "WebSockets closed because the client took what was sent too slowly.");
    out.value(server.webSocketsClosed[static_cast<std::size_t>(CloseReason::slow)]);
}

void addTraffic(PrometheusText& out, const ServerFigures& server)
{
    out.counter("vexa_frames_received_total", "Text messages received over WebSockets.");
    out.value(server.framesReceived);
    out.counter("vexa_received_bytes_total", "Bytes in them.");
    out.value(server.bytesReceived);
    out.counter("vexa_frames_sent_total", "Text messages sent over WebSockets.");
    out.value(server.framesSent);
    out.counter("vexa_sent_bytes_total", "Bytes in them.");
    out.value(server.bytesSent);
    out.counter("vexa_entries_sent_total", "Messages of topics in them, several of which may share a frame.");
    out.value(server.entriesSent);
    out.counter("vexa_pings_sent_total", "Pings sent to silent clients.");
    out.value(server.pingsSent);
    out.counter("vexa_bad_frames_total", "Received frames that are no message, by the fault.");
    for (std::size_t place = 0; place < frameFaultCount; ++place) {
        out.value(server.badFrames[place], {{"kind", labelOf(static_cast<FrameFault>(place))}});
    }
    out.counter("vexa_http_responses_total", "HTTP responses, by their status code.");
    for (std::size_t place = 0; place < httpStatuses.size(); ++place) {
        out.value(server.httpResponses[place], {{"code", decimal(httpStatuses[place])}});
    }
    out.counter("vexa_unauthorized_requests_total", "HTTP requests without a valid token.");
    out.value(server.unauthorized);
}

void addProcess(PrometheusText& out, const MetricsSources& sources)
{
    out.gauge("vexa_broker_healthy", "1 when the broker can do its work, else 0.");
    out.value(static_cast<std::uint64_t>(sources.broker.isHealthy ? 1 : 0));
    out.gauge("vexa_server_start_time_seconds", "When the server was started, in seconds since 1970.");
    out.value(sources.startedAt);
    if (sources.process) {
        out.gauge("process_virtual_memory_bytes", "Virtual memory of the process.");
        out.value(sources.process->virtualBytes);
        out.gauge("process_resident_memory_bytes", "Resident memory of the process.");
        out.value(sources.process->residentBytes);
        out.counter("process_cpu_seconds_total", "Processor time of the process.");
        out.value(sources.process->processorSeconds);
    }
}

} // namespace

std::string metricsPage(const MetricsSources& sources)
{
    PrometheusText out;
    addService(out, sources.service);
    addConnections(out, sources.server);
    addTraffic(out, sources.server);
    addProcess(out, sources);
    return out.text();
}

} // namespace vexa::host
