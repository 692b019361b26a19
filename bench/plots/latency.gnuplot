load sprintf("%s/common.gnuplot", scripts)
set output sprintf("%s/latency.svg", folder)
set title "From publishing to the callback, through a service, at 10,000 messages a second"
set xlabel "microseconds"
set ylabel "share of messages that took at most so long"
set logscale x
set xrange [10:10000]
set yrange [0:1]
set key right bottom
set style data lines
present(name) = system(sprintf("test -s '%s/latency-%s.data' && echo 1 || echo 0", folder, name)) + 0
file(name) = present(name) ? sprintf("%s/latency-%s.data", folder, name) : "/dev/null"
plot file("vexa") title "vexa, callback", file("vexa-blocking") title "vexa, blocking wait", \
     file("hiredis") title "hiredis", file("nats.c") title "nats.c"
