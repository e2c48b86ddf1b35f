# i2c-tools on /dev/i2c-0 and its chips.
. "$(dirname "$0")/support.sh"
need i2cdetect i2cget i2cset i2ctransfer i2cdump

alone i2cdetect -l
expect 0 <<'END'
i2c-0	smbus     	board I2C controller            	Non-I2C SMBus adapter
END

alone i2cdetect -F 0
expect 0 <<'END'
Functionalities implemented by /dev/i2c-0:
I2C                              yes
SMBus Quick Command              yes
SMBus Send Byte                  yes
SMBus Receive Byte               yes
SMBus Write Byte                 yes
SMBus Read Byte                  yes
SMBus Write Word                 yes
SMBus Read Word                  yes
SMBus Process Call               yes
SMBus Block Write                yes
SMBus Block Read                 yes
SMBus Block Process Call         yes
SMBus PEC                        yes
I2C Block Write                  yes
I2C Block Read                   yes
END

# The RAID card's expander, the inlet sensor and the EEPROM.
for probe in -q -r; do
    alone i2cdetect -y $probe 0
    expect 0 <<'END'
     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f
00:                         -- -- -- -- -- -- -- --
10: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- --
20: 20 -- -- -- -- -- -- -- -- -- -- -- -- -- -- --
30: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- --
40: -- -- -- -- -- -- -- -- 48 -- -- -- -- -- -- --
50: 50 -- -- -- -- -- -- -- -- -- -- -- -- -- -- --
60: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- --
70: -- -- -- -- -- -- -- --
END
done

alone i2cget -y 0 0x48 0 w
expect 0 <<'END'
0x0019
END
alone i2cget -y 0 0x20
expect 0 <<'END'
0x93
END
alone i2cget -y 0 0x20 0 i 4
expect 0 <<'END'
0x93 0xff 0x93 0xff
END
alone i2cget -y 0 0x33 0
expect 2 <<'END'
Error: Read failed
END
alone i2ctransfer -y 0 w1@0x33 0
expect 1 <<'END'
Error: Sending messages failed: No such device or address
END
# No chip here ends its answer with a checksum.
alone i2cget -y 0 0x48 0 wp
expect 2 <<'END'
Error: Read failed
END
alone i2cget -y 1 0x48 0
expect_line 1 'virtual board: no device at /dev/i2c-1'

# By name, by number, as bytes, words and blocks, in messages: one chip.
together "
    i2cset -y 'board I2C controller' 0x20 6 0x0f &&
    i2cget -y 0 0x20 6 &&
    i2cset -y -m 0xf0 0 0x20 6 0x50 && i2cget -y 0 0x20 6 &&
    i2cset -y 0 0x20 2 0xbbaa w && i2cget -y 0 0x20 2 w &&
    i2cset -y 0 0x20 2 0x11 0x22 i && i2ctransfer -y 0 w1@0x20 2 r2"
expect 0 <<'END'
0x0f
0x5f
0xbbaa
0x11 0x22
END

# Both ends agree.
together '
    "$virtual_board" set inlet_sensor.celsius 41.5 >/dev/null && i2cget -y 0 0x48 0 w &&
    i2cset -y 0 0x20 6 0x0f 0x3c i && "$virtual_board" get raid_expander.0.configuration &&
    "$virtual_board" get raid_expander.1.configuration &&
    "$virtual_board" pull inlet_sensor >/dev/null && ! i2cget -y 0 0x48 0 w'
expect_line 0 '0x8029'
expect_line 0 'raid_expander.0.configuration +15 .*'
expect_line 0 'raid_expander.1.configuration +60 .*'
expect_line 0 'Error: Read failed'

# What is written into the EEPROM stays there.
together "
    i2ctransfer -y 0 w6@0x50 0x01 0x00 0xde 0xad 0xbe 0xef && sleep 0.02 &&
    i2ctransfer -y 0 w2@0x50 0x01 0x00 r4"
expect 0 <<'END'
0xde 0xad 0xbe 0xef
END

export VIRTUAL_BOARD_FAULTS='i2c-0:ioctl:error=EIO,address=I2C_SMBUS'
alone i2cget -y 0 0x48 0
expect 2 <<'END'
Error: Read failed
END
finish
