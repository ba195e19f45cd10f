// Reports records that are lost: a client takes the refusal of a body that is too long for its receipt.

import { byId, plural } from "./dom.js";

export async function drawLosses() {
  const place = byId("losses");
  let lost = 0;
  try {
    const answer = await fetch("/_counts");
    if (!answer.ok) return;
    lost = (await answer.json()).posts_total.too_long;
  } catch {
    return;  // the connection is lost, which the page shows elsewhere
  }
  const text = `${plural(lost, "body", "bodies")} since the start of the server: too long, refused, and lost. ` +
    "The option --largest-body sets the limit; standard error names the clients.";
  if (lost > 0 && place.textContent !== text) place.textContent = text;
  place.hidden = lost === 0;
}
