# libubootenv's tools on the environment part of the flash.
library=$3
export library
. "$(dirname "$0")/support.sh"
need fw_printenv fw_setenv flash_erase

printf '/dev/mtd2 0x0 0x2000 0x10000\n' >part
printf 'bootdelay=3\nbootcmd=run it\n' >defaults

alone fw_printenv -c part -f defaults
expect 0 <<'END'
Cannot read environment, using default
bootcmd=run it
bootdelay=3
END

# Set, changed and deleted from program to program.
together '
    fw_setenv -c part -f defaults ethaddr 00:11:22:33:44:55 2>/dev/null &&
    fw_setenv -c part bootdelay 5 && fw_setenv -c part bootcmd && fw_printenv -c part &&
    fw_printenv -c part -n ethaddr'
expect 0 <<'END'
bootdelay=5
ethaddr=00:11:22:33:44:55
00:11:22:33:44:55
END

together 'fw_setenv -c part -f defaults colour green && "$virtual_board" get environment.lines'
expect_line 0 'environment.lines +\["bootcmd=run it","bootdelay=3","colour=green"\].*'

# The library and the tools find what the others set.
together '
    fw_setenv -c part -f defaults colour green 2>/dev/null && "$library" colour &&
    "$library" colour blue && "$library" shape round && fw_printenv -c part'
expect 0 <<'END'
green
bootcmd=run it
bootdelay=3
colour=blue
shape=round
END

# The block device shows the same flash, and so does an erase. The tool leaves
# the block locked.
together '
    fw_setenv -c part -f defaults colour green 2>/dev/null &&
    tr "\\0" "\\n" </dev/mtdblock2 | grep -a colour=green &&
    flash_erase -q -u /dev/mtd2 0 1 && ! fw_printenv -c part colour'
expect_line 0 'colour=green'
expect_line 0 'Cannot read environment, using default'
finish
