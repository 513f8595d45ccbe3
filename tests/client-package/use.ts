// The package as an extension in TypeScript uses it: types that are right, and calls that are wrong.

import {CorvaneClient, CorvaneError} from "corvane-nm-client";
import type {HostLink, PageState, Reason} from "corvane-nm-client";
import {PageClient} from "corvane-nm-client/page";
import {shareClient} from "corvane-nm-client/share";
import {FakeHost, FakePages} from "corvane-nm-client/testing";

export const host = new FakeHost();
export const pages = new FakePages();
export const client = new CorvaneClient({runtime: host.runtime});
shareClient(client, pages.runtime);
export const page = new PageClient({runtime: pages.runtime});

export async function look(link: HostLink, signal?: AbortSignal): Promise<PageState> {
  const address = {url: "https://example.org/", port: 443, forceStartApp: false};
  return (await link.request("getCurrentFilteringState", address, {signal})).parameters;
}

export async function reasonOf(attempt: Promise<unknown>): Promise<Reason | "none"> {
  return attempt.then(() => "none", (error: unknown) => (error as CorvaneError).reason);
}

export function wrong(link: HostLink): void {
  // @ts-expect-error: no such command
  void link.request("openDoor");
  // @ts-expect-error: the parameters are missing
  void link.request("addRule");
  // @ts-expect-error: a number
  void link.request("openOriginalCert", {domain: "example.org", port: "443"});
  // @ts-expect-error: has no parameters
  void link.request("openSettings", {});
}
