"""Makes the Debian packages from the build under test and the example package. The real package manager
installs each below its own folder."""
import os
import shutil
import subprocess
import unittest

from programs import PROGRAMS, SOURCE, ProgramTest

VERSION = os.environ["ORVIK_VERSION"]
SOFTWARE = "Software/ORVIK Technologies/Pagewell Software"
TAVLO = "Software/ORVIK Technologies/ORVIK Tavlo Software/Install Information"
# For each package: how paths in it end, and how its dependencies begin.
PACKAGES = {
    "orvik-postflight": (
        ["/usr/sbin/postflight", "/man8/postflight.8.gz"], ["libc6 (", "libicu", "libstdc++6 ("]),
    "orvikprefs": (
        ["/usr/bin/orvikprefs", "/man1/orvikprefs.1.gz", "/bash-completion/completions/orvikprefs",
         "/_orvikprefs", "/vendor_completions.d/orvikprefs.fish"],
        ["libc6 (", "libicu", "libstdc++6 ("]),
    "liborvik-text3": (
        [f"/liborvik_text.so.3 -> liborvik_text.so.{VERSION}"], ["libc6 (", "libicu"]),
    "liborvik-xml3": (
        [f"/liborvik_xml.so.3 -> liborvik_xml.so.{VERSION}"],
        ["libc6 (", f"liborvik-streams3 (= {VERSION}-1)", f"liborvik-prefs3 (= {VERSION}-1)"]),
    "orvik-ansible": (
        [f"/usr/share/ansible/plugins/{kind}/orvik_preference.py" for kind in ("modules", "action")],
        ["ansible-core | ansible"]),
    "liborvik-dev": (
        ["/usr/include/orvik/prefs/preferences.h", "/liborvik_prefs.a", "/liborvik_platform.a",
         "/liborvik_prefs.so -> liborvik_prefs.so.3", "/cmake/orvik/orvik-config.cmake",
         "/pkgconfig/orvik.pc"],
        [f"liborvik-text3 (= {VERSION}-1)", f"liborvik-xml3 (= {VERSION}-1)", "libicu-dev",
         "libtinyxml-dev", "zlib1g-dev", "libboost-dev"])}


class PackageManagerTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.need("dpkg")
        self.admin = self.root / "var/lib/dpkg"
        for name in ("info", "updates", "triggers"):
            (self.admin / name).mkdir(parents=True)
        for name in ("status", "available"):
            (self.admin / name).touch()

    def dpkg(self, *action):
        return self.run_command("dpkg", f"--root={self.root}", "--force-depends", "--force-not-root",
                                "--force-script-chrootless", "--log=/dev/null", *action)

    def must(self, done):
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout


class PackagesTest(PackageManagerTest):
    def setUp(self):
        super().setUp()
        self.need("cpack", "dpkg-deb", "dpkg-shlibdeps")
        self.environment["SOURCE_DATE_EPOCH"] = "1700000000"

    def make(self, target, *settings):
        """Makes packages in the folder with additional settings of cpack."""
        settings = ["CPACK_DEBIAN_COMPRESSION_TYPE=none", "CPACK_DEBIAN_DEBUGINFO_PACKAGE=OFF", *settings]
        options = [word for setting in settings for word in ("-D", setting)]
        self.must(self.run_command("cpack", "--config", PROGRAMS.parent / "CPackConfig.cmake", "-B",
                                   target, *options))

    def test_hold_what_they_say_and_name_what_they_need(self):
        folder, again = self.folder / "packages", self.folder / "again"
        self.make(folder)
        self.make(again, "CPACK_COMPONENTS_ALL=tool;library-text")
        for file in again.glob("*.deb"):
            self.assertEqual(file.read_bytes(), (folder / file.name).read_bytes(), file.name)
        for package, (ends, needed) in PACKAGES.items():
            with self.subTest(package):
                file, = folder.glob(package + "_*.deb")

                def control(*words):
                    return self.must(self.run_command("dpkg-deb", *words))
                self.assertEqual(control("--field", file, "Package"), package + "\n")
                lines = control("--contents", file)
                self.assertEqual(lines.count(" root/root "), lines.count("\n"))
                for end in (*ends, f"/{package}/copyright", "/changelog.Debian.gz",
                            "/lintian/overrides/" + package):
                    self.assertIn(end + "\n", lines)
                depends = ", " + control("--field", file, "Depends")
                for beginning in needed:
                    self.assertIn(", " + beginning, depends)
                control("--info", file, "md5sums")
                scripts = self.run_command("dpkg-deb", "--info", file, "postinst")
                self.assertNotEqual(scripts.returncode, 0)
                if package == "liborvik-xml3":
                    self.assertEqual(control("--info", file, "triggers"), "activate-noawait ldconfig\n")
                    self.assertIn("liborvik_xml 3 liborvik-xml3 (", control("--info", file, "shlibs"))

    @unittest.skipUnless(os.geteuid() == 0, "dpkg gives the files to root")
    def test_upgrade_and_purge_keep_the_store(self):
        """An earlier version writes a store and is upgraded while its `watch` runs."""
        program = self.root / "usr/bin/orvikprefs"
        for version in ("0.9.0", VERSION):
            folder = self.folder / version
            self.make(folder, "CPACK_COMPONENTS_ALL=tool;command-line", "CPACK_PACKAGE_VERSION=" + version)
            self.must(self.dpkg("--install", "--recursive", folder))
            self.assertIn(f"Version: {version}-1\n", (self.admin / "status").read_text())
            if version != VERSION:
                self.must(self.run_command(program, "set", "Software/Example", "Name", "old"))
                watch = subprocess.Popen([program, "watch", "Software/Example", "--count", "1", "--ready"],
                                         env=self.environment, stdout=subprocess.PIPE, text=True)
                self.addCleanup(watch.kill)
                watch.stdout.readline()
        self.assertEqual(self.must(self.run_command(program, "get", "Software/Example", "Name")), "old\n")
        # The `watch` of the earlier version sees a change by the new one.
        self.must(self.run_command(program, "set", "Software/Example", "Name", "new"))
        self.assertIn("new", watch.communicate(timeout=60)[0])
        store = self.must(self.run_command(program, "export"))
        self.must(self.dpkg("--purge", "orvikprefs", "orvik-postflight"))
        self.assertFalse(program.exists())
        self.assertEqual(self.prefs("export"), store)


class DebianPackageTest(PackageManagerTest):
    def setUp(self):
        super().setUp()
        # The package's scripts must find the root without the environment variable.
        self.packaging = dict(self.environment, PATH=f"{PROGRAMS}:/usr/sbin:/usr/bin:/sbin:/bin")
        del self.packaging["ORVIK_SYSTEM_ROOT"]
        for version in ("1.0", "2.0"):
            self.must(self.run_command(SOURCE / "examples/debian-package/build.sh", version, self.folder))

    def dpkg(self, *action):
        self.environment, own = self.packaging, self.environment
        done = super().dpkg(*action)
        self.environment = own
        return done

    def install(self, version):
        return self.dpkg("--install", self.folder / f"orvik-pagewell-example_{version}_all.deb")

    def state(self):
        return self.run_command("dpkg-query", f"--admindir={self.admin}", "-W",
                                "-f=${db:Status-Status} ${Version}", "orvik-pagewell-example").stdout

    def expect(self, state, version):
        """Checks the state of the package and the version in the store."""
        self.assertEqual(self.state(), state)
        folder = f"/opt/orvik-pagewell/{version}/\n"
        for key in (SOFTWARE + "/Install Information", TAVLO):
            self.assertEqual(self.prefs(f"get '{key}' PagewellExePath"), folder)

    def test_installs_upgrades_removes_and_purges(self):
        self.must(self.install("1.0"))
        self.expect("installed 1.0", "1.0")
        self.assertFalse((self.home / "Library").exists())  # the caller's home
        self.assertTrue((self.root / "opt/orvik-pagewell/1.0/pagewell").exists())
        self.assertEqual(self.prefs(f"get '{SOFTWARE}' UELogging"), "0\n")
        self.prefs(f"set '{SOFTWARE}' UELogging 1")
        self.must(self.install("2.0"))
        self.expect("installed 2.0", "2.0")
        self.assertFalse((self.root / "opt/orvik-pagewell/1.0").exists())
        self.assertEqual(self.prefs(f"get '{SOFTWARE}' UELogging"), "1\n")
        self.must(self.dpkg("--remove", "orvik-pagewell-example"))
        self.expect("config-files 2.0", "2.0")
        self.prefs("set Software/Other Kept x")
        self.prefs(f"set '{TAVLO}' PagewellExePath /another/package/")
        shutil.rmtree(self.home / "Library")
        self.must(self.dpkg("--purge", "orvik-pagewell-example"))
        self.assertFalse((self.home / "Library").exists())
        self.assertEqual(self.state(), "")
        self.assertEqual(self.prefs("tree Software"),
                         f"{TAVLO}/PagewellExePath\tstring\t/another/package/\n"
                         "Software/Other/Kept\tstring\tx\n")

    def test_a_failed_configuration_is_tried_again(self):
        self.must(self.install("1.0"))
        # The store cannot be written: the tool reports it, and dpkg fails.
        self.file.rename(self.folder / "aside")
        self.file.mkdir()
        failed = self.install("2.0")
        self.assertNotEqual(failed.returncode, 0)
        self.assertIn("the installation could not be recorded", failed.stderr)
        self.file.rmdir()
        (self.folder / "aside").rename(self.file)
        self.expect("half-configured 2.0", "1.0")
        self.must(self.dpkg("--configure", "orvik-pagewell-example"))
        self.expect("installed 2.0", "2.0")


if __name__ == "__main__":
    unittest.main()
