# spi-tools on the FPGA's configuration port.
. "$(dirname "$0")/support.sh"
need spi-config spi-pipe

alone spi-config -d /dev/spi -q
expect 0 <<'END'
/dev/spi: mode=0, lsb=0, bits=8, speed=50000000, spiready=0
END

# The tool shows a bit order only that no kernel answers with.
together '
    spi-config -d /dev/spi -m 3 -l 1 -b 16 -s 1000000 && spi-config -d /dev/spi -q'
expect 0 <<'END'
/dev/spi: mode=3, lsb=0, bits=16, speed=1000000, spiready=0
END

# The port answers nothing: the line stays up.
printf bitstream >stream
together 'spi-pipe -d /dev/spi -b 3 -n 3 <stream | od -An -tx1'
expect 0 <<'END'
 ff ff ff ff ff ff ff ff ff
END
together 'spi-pipe -d /dev/spi -b 9 -n 1 <stream >/dev/null && "$virtual_board" get spi'
expect_line 0 'spi.stream_bytes +9'
expect_line 0 'spi.stream_crc32 +0234ed9b'
expect_line 0 'spi.transfers +1'
together 'spi-pipe -d /dev/spi -b 5000 -n 1 </dev/zero'
expect_line 1 '.*Message too long.*'
finish
