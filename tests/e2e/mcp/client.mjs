// An MCP client as AI applications use it: starts pictavia-mcp (the first argument) over
// stdio with a client's bare environment, runs the protocol's housekeeping and the tool
// calls given as a JSON array of {name, arguments} (the second argument), and prints what
// came back as one JSON object.
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const transport = new StdioClientTransport({
  command: process.argv[2],
  env: { HOME: process.env.HOME, PATH: process.env.PATH, USER: "tester" },
  stderr: "inherit",
});
const calls = JSON.parse(process.argv[3] ?? "[]");
const client = new Client({ name: "claude-code", version: "1.0.0" });
const report = {};
try {
  await client.connect(transport);
  report.server = client.getServerVersion();
  report.capabilities = client.getServerCapabilities();
  report.instructions = client.getInstructions();
  report.ping = await client.ping();
  report.tools = await client.listTools();
  report.calls = [];
  for (const call of calls) report.calls.push(await client.callTool(call));
  report.resources = await client.listResources();
  report.prompts = await client.listPrompts();
} catch (error) {
  report.error = String(error);
}
await client.close();
console.log(JSON.stringify(report));
