# What all plots have in common. The folder of the numbers is given as `folder`.
set terminal svg size 800,500 dynamic background rgb "white" font "sans,13"
set grid
set key left top
set style data yerrorlines
