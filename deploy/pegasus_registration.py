#!/usr/bin/env python3
"""Writes a registration in the form of OpenPegasus from one in the form of sfcb.

    pegasus_registration.py --version VERSION FILE.reg FILE.mof

Each library becomes a PG_ProviderModule, each provider a PG_Provider, and each section the
PG_ProviderCapabilities that say what the provider does for the section's class. The group of the
sections becomes the modules' group, so that one process holds them. That a provider is not to be
unloaded cannot be written here: OpenPegasus asks the providers themselves.
"""

import argparse
import pathlib
import sys

import registration

PROVIDER_TYPES = {"instance": 2, "association": 3, "method": 5}

HEADER = """// Registration with OpenPegasus, for the name space root/PG_InterOp.
"""


def instance(class_name, **properties):
    lines = "".join(f"  {name} = {value};\n" for name, value in properties.items())
    return f"\ninstance of {class_name}\n{{\n{lines}}};\n"


def quoted(text):
    if '"' in text or "\\" in text:
        raise ValueError(f"'{text}' cannot be written in MOF")
    return f'"{text}"'


def listed(texts):
    return "{" + ", ".join(texts) + "}"


def module_name(section):
    return section.values["location"].removesuffix(".cmpi")


def mof(sections, version):
    modules, providers, capabilities = {}, {}, []
    for number, section in enumerate(sections, 1):
        module, provider = quoted(module_name(section)), quoted(section.values["provider"])
        modules[module] = instance(
            "PG_ProviderModule", Name=module, Location=quoted(section.values["location"]),
            Vendor=quoted("hddtest"), Version=quoted(version), InterfaceType=quoted("CMPI"),
            InterfaceVersion=quoted("2.0.0"), ModuleGroupName=quoted(section.values["group"]))
        providers[module, provider] = instance(
            "PG_Provider", ProviderModuleName=module, Name=provider)
        capabilities.append(instance(
            "PG_ProviderCapabilities", ProviderModuleName=module, ProviderName=provider,
            CapabilityID=quoted(str(number)), ClassName=quoted(section.class_name),
            Namespaces=listed(quoted(name) for name in section.values["namespace"].split()),
            ProviderType=listed(str(PROVIDER_TYPES[kind]) for kind in section.types)))
    return HEADER + "".join([*modules.values(), *providers.values(), *capabilities])


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    options.add_argument("--version", required=True)
    options.add_argument("registration", type=pathlib.Path)
    options.add_argument("mof", type=pathlib.Path)
    arguments = options.parse_args()
    try:
        text = mof(registration.read(arguments.registration.read_text(encoding="utf-8")),
                   arguments.version)
        arguments.mof.parent.mkdir(parents=True, exist_ok=True)
        arguments.mof.write_text(text, encoding="utf-8")
    except (OSError, ValueError, KeyError) as error:
        print(f"{arguments.registration}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
