# mtd-utils on the controller's flash.
. "$(dirname "$0")/support.sh"
need mtdinfo mtd_debug flash_erase nanddump

alone mtdinfo
expect 0 <<'END'
Count of MTD devices:           6
Present MTD devices:            mtd0, mtd1, mtd2, mtd3, mtd4, mtd5
Sysfs interface supported:      no
END

alone mtdinfo /dev/mtd3
expect 0 <<'END'
mtd3
Name:                           kernel
Type:                           nor
Eraseblock size:                65536 bytes, 64.0 KiB
Amount of eraseblocks:          64 (4194304 bytes, 4.0 MiB)
Minimum input/output unit size: 1 byte
Bad blocks are allowed:         false
Device is writable:             true

END

alone mtd_debug info /dev/mtd2
expect 0 <<'END'
mtd.type = MTD_NORFLASH
mtd.flags = MTD_CAP_NORFLASH
mtd.size = 65536 (64K)
mtd.erasesize = 65536 (64K)
mtd.writesize = 1
mtd.oobsize = 0
regions = 0

END

alone mtdinfo /dev/mtd9
expect_line 255 'mtdinfo: error!: .*"/dev/mtd9".*'

# Programming clears bits, an erase sets them, and other blocks keep theirs.
printf 'flash!' >text
printf '\360\360' >mask
together '
    mtd_debug write /dev/mtd5 0 6 text && mtd_debug write /dev/mtd5 0x10000 6 text &&
    mtd_debug write /dev/mtd5 0 2 mask && mtd_debug read /dev/mtd5 0 8 first &&
    flash_erase -q /dev/mtd5 0 1 &&
    mtd_debug read /dev/mtd5 0 8 second && nanddump -q -s 0x10000 -l 8 -f third /dev/mtd5'
[ "$code" -eq 0 ] || complain "expected code 0"
od -An -c first second third >output
expect 0 <<'END'
   `   `   a   s   h   ! 377 377 377 377 377 377 377 377 377 377
   f   l   a   s   h   ! 377 377
END

# The tool asks block after block.
alone flash_erase /dev/mtd3 0x20000 2
expect 0 <<'END'

Erasing 64 Kibyte @ 20000 --  0 % complete
Erasing 64 Kibyte @ 30000 -- 50 % complete
Erasing 64 Kibyte @ 30000 -- 100 % complete
END

# 8 blocks of the boot loader and its spare, 1 of the environment, then the kernel.
together 'flash_erase -q /dev/mtd3 0x10000 2 && "$virtual_board" get flash.wear'
expect_line 0 'flash.wear +\[0,0,0,0,0,0,0,0,0,0,1,1,0,0,[0,]*\].*'

# A locked block is not erased before it is unlocked.
alone flash_erase -q -u /dev/mtd0 0 1
expect 0 </dev/null
together 'flash_lock /dev/mtd0 0 1 && flash_erase -q /dev/mtd0 0 1'
expect_line 0 '.*(MTD Erase failure|error 5).*'
together 'flash_lock /dev/mtd0 0 1 && flash_erase -q -u /dev/mtd0 0 1 && echo erased'
expect 0 <<'END'
erased
END

# The same bytes for who reads the node as a file.
together 'mtd_debug write /dev/mtd5 0 6 text >/dev/null && head -c 6 /dev/mtd5 && dd if=/dev/mtd5 bs=6 count=1 status=none &&
    cat </dev/mtd5 | head -c 6 && cp /dev/mtd5 copy && wc -c <copy && stat -c "%F %t,%T" /dev/mtd5'
expect 0 <<'END'
flash!flash!flash!8388608
character special file 5a,a
END

export VIRTUAL_BOARD_FAULTS='mtd5:ioctl:error=EIO,address=MEMERASE64'
alone flash_erase -q /dev/mtd5 0 1
expect_line 0 '.*error 5 \(Input/output error\)'
finish
