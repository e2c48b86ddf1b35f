"""What can hurt is asked first, before the board is even opened."""

import subprocess
import unittest

import tool

HARMFUL = {
    "bios decide /dev/null": "Take the BIOS flash from the host to read it?",
    "bios erase": "Erase the host's firmware?",
    "bios load /dev/null": "Overwrite the host's firmware?",
    "bios load-raw /dev/null": "Overwrite the host's firmware?",
    "bios owner controller": "Hand the BIOS flash over? A running host may lose it.",
    "bios read 0 1": "Take the BIOS flash from the host to read it?",
    "bios save file": "Take the BIOS flash from the host to read it?",
    "bios write 0 /dev/null": "Write to the host's firmware?",
    "blackbox disable": "Stop recording the host's last moments?",
    "bt set-status 1": "Set the status byte of the host's BT interface?",
    "button press": "Press the host's power button?",
    "cmos clear": "Clear the host's firmware settings?",
    "cpld-load /dev/null 4": "Program CPLD 4 with /dev/null?",
    "cpld write LED_5 1": "Write 1 to BOARD_LED_B.LED_5?",
    "env delete serverip": "Delete the boot loader's \"serverip\"?",
    "env import /dev/null": "Set the boot loader's variables?",
    "env set bootdelay 3": "Set the boot loader's \"bootdelay\"?",
    "faults hot-control 0 on": "Drive a hot-control output?",
    "flash copy 5 /dev/null": "Overwrite /dev/mtd5? What it holds is lost.",
    "flash erase mtd5": "Erase /dev/mtd5? What it holds is lost.",
    "flash write /dev/mtd5 /dev/null": "Write to /dev/mtd5? What it holds is lost.",
    "fpga ddr-test": "Test the FPGA's memory? What it holds is lost.",
    "fpga jtag-reset": "Reset the CPLD's JTAG chain?",
    "fpga load /dev/null": "Load the FPGA? All that it carries is gone meanwhile.",
    "fpga reg 450 0x10": "Write 0x10 to FPGA register 450?",
    "fpga start": "Start the FPGA?",
    "fpga watchdog stop": "Stop the hardware watchdog?",
    "i2c write 0 0xA0 1": "Write to an I2C slave?",
    "ipmb address 0 0x20": "Change the controller's own IPMB address?",
    "ipmb disable 1": "Disable the IPMB channel?",
    "kcs set-status 1": "Set the status byte of the host's KCS interface?",
    "nmi raise": "Interrupt the host with an NMI?",
    "nmi send": "Interrupt the host with an NMI?",
    "power cycle": "Cut the host's power and switch it on again?",
    "power off": "Shut the host down?",
    "power off --force": "Cut the host's power?",
    "ram write 0 1": "Write to the reserved RAM?",
    "reset assert 3": "Reset component 3?",
    "reset pulse host": "Reset the host?",
    "rtc set now": "Set the real-time clock?",
    "rtc sync": "Set the system clock from the real-time clock?",
}


class Confirmation(tool.TerminalTest):
    def test_without_a_terminal_it_is_refused(self):
        # There is no board: 3 would tell that it was opened.
        for line, question in HARMFUL.items():
            with self.subTest(line):
                answer = tool.boardctl(*line.split(), virtual=False)
                self.assertEqual((answer.returncode, answer.stdout), (4, ""))
                self.assertIn(f"{question} Standard input is no terminal: say --yes.", answer.stderr)

    def test_with_yes_nothing_is_asked(self):
        for line, question in HARMFUL.items():
            with self.subTest(line):
                answer = tool.boardctl(*line.split(), "--yes", virtual=False)
                self.assertEqual(answer.returncode, 3)
                self.assertNotIn(question, answer.stderr)

    def test_yes_that_is_piped_in_is_no_answer(self):
        with subprocess.Popen(["echo", "y"], stdout=subprocess.PIPE) as yes:
            answer = tool.boardctl("cmos", "clear", stdin=yes.stdout)
        self.assertEqual(answer.returncode, 4)

    def test_what_does_not_hurt_is_not_asked(self):
        for line in ("fpga reg 450", "fpga watchdog kick", "bios protect on", "env get x"):
            with self.subTest(line):
                self.assertEqual(tool.boardctl(*line.split(), virtual=False).returncode, 3)

    def test_refusal_in_json(self):
        answer = tool.boardctl("cmos", "clear", "--json")
        self.assertEqual(tool.documents(answer.stdout)[0]["error"]["exit"], 4)

    def test_answers_at_a_terminal(self):
        for answer, code in (("y\n", 0), ("yes\n", 0), ("n\n", 4), ("\n", 4), ("maybe\n", 4),
                             ("\x04", 4)):
            with self.subTest(answer):
                terminal = self.terminal(tool.BOARDCTL, "--virtual", "cmos", "clear")
                terminal.wait_for(r"settings\? \[y/N\] ")
                terminal.type(answer)
                self.assertEqual(terminal.finish(), code)
                self.assertEqual("not confirmed." in terminal.seen, code == 4)


if __name__ == "__main__":
    tool.main()
