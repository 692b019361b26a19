load sprintf("%s/common.gnuplot", scripts)
set output sprintf("%s/batch.svg", folder)
set title "Receiving over loopback, by the messages in a frame"
set xlabel "messages in a frame"
set ylabel "microseconds of processor time a message"
set logscale x 2
set yrange [0:*]
set key right top
plot sprintf("%s/batch-vexa.data", folder) using 1:2:3:4 title "vexa, into a stream", \
     sprintf("%s/batch-floor.data", folder) using 1:2:3:4 title "read, framed and parsed alone"
